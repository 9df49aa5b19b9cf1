#include "platform/posix/Interruption.h"

#include <atomic>
#include <csignal>
#include <system_error>

#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

// The only state outside an object: a signal handler can be given nothing else. Other threads read it too.
std::atomic<bool> hasArrived = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler must not wait for a lock");

void mark(int) { hasArrived = true; }

}  // namespace

void catchInterruptions() {
  struct sigaction action {};
  action.sa_handler = mark;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(signal, &action, nullptr);
  action.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &action, nullptr);
}

bool interrupted() noexcept { return hasArrived; }

void throwIfInterrupted() {
  if (interrupted()) throw PlatformError("finish", "the operation", std::make_error_code(std::errc::interrupted));
}

}  // namespace brindlewick
