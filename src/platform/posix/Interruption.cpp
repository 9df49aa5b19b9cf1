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

bool interrupted() noexcept { return hasArrived; }

void throwIfInterrupted() {
  if (interrupted()) throw PlatformError("finish", "the operation", std::make_error_code(std::errc::interrupted));
}

}  // namespace brindlewick
