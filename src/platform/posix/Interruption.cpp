#include "platform/posix/Interruption.h"

#include <csignal>
#include <system_error>

#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

// The only state outside an object: a signal handler can be given nothing else.
volatile std::sig_atomic_t arrived = 0;

void mark(int) { arrived = 1; }

bool isIgnored(int signal) {
  struct sigaction inherited {};
  return ::sigaction(signal, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN;
}

}  // namespace

void catchInterruptions() {
  struct sigaction action {};
  action.sa_handler = mark;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM}) ::sigaction(signal, &action, nullptr);
  if (!isIgnored(SIGHUP)) ::sigaction(SIGHUP, &action, nullptr);
  action.sa_handler = SIG_IGN;
  for (const int signal : {SIGPIPE, SIGXFSZ}) ::sigaction(signal, &action, nullptr);
}

bool interrupted() noexcept { return arrived != 0; }

void throwIfInterrupted() {
  if (interrupted()) throw PlatformError("finish", "the operation", std::make_error_code(std::errc::interrupted));
}

}  // namespace brindlewick
