#include "platform/posix/Interruption.h"

#include <csignal>
#include <system_error>

#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

// The only state outside an object: a signal handler can be given nothing else.
volatile std::sig_atomic_t arrived = 0;

void mark(int) { arrived = 1; }

}  // namespace

void catchInterruptions() {
  struct sigaction action {};
  action.sa_handler = mark;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &action, nullptr);
  action.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &action, nullptr);
}

bool interrupted() noexcept { return arrived != 0; }

void throwIfInterrupted() {
  if (interrupted()) throw PlatformError("finish", "the operation", std::make_error_code(std::errc::interrupted));
}

}  // namespace brindlewick
