// The one use of open that an updater makes: `open -a APPLICATION` starts an application and does not wait for it.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "BundleExecutable.h"

namespace {

int fail(const char* application, const char* reason) {
  std::fprintf(stderr, "open: %s: %s\n", application, reason);
  return 1;
}

/// In the child: a session of its own, no stream and no ignored signal of ours. Only returns when it cannot start.
void becomeApplication(const std::string& executable) {
  setsid();
  for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE}) std::signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const int nothing = ::open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  if (nothing > STDERR_FILENO) close(nothing);
  char* const arguments[] = {const_cast<char*>(executable.c_str()), nullptr};
  execv(executable.c_str(), arguments);
}

/// Starts the executable in a process of its own; answers 0, or the error with which the system refused.
int start(const std::string& executable) {
  // Closed by a successful start; otherwise it carries the error.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return errno;
  const pid_t child = fork();
  if (child < 0) return errno;
  if (child == 0) {
    // Above the standard streams, which are replaced.
    const int channel = fcntl(report[1], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    becomeApplication(executable);
    const int error = errno;
    static_cast<void>(!write(channel, &error, sizeof error));
    _exit(1);
  }
  close(report[1]);
  int error = 0;
  ssize_t count = 0;
  do count = read(report[0], &error, sizeof error);
  while (count < 0 && errno == EINTR);
  close(report[0]);
  return count == sizeof error ? error : 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3 || std::string_view(arguments[1]) != "-a" || std::string_view(arguments[2]).empty()) {
    std::fputs("usage: open -a APPLICATION\n", stderr);
    return 2;
  }
  const char* application = arguments[2];
  struct stat attributes {};
  if (stat(application, &attributes) != 0) return fail(application, std::strerror(errno));
  const auto executable = brindlewick::open::bundleExecutable(application);
  if (!S_ISDIR(attributes.st_mode) || !executable) return fail(application, "not an application");
  if (const int error = start(*executable); error != 0)
    return fail(application, error == ENOEXEC ? "this machine cannot run the application" : std::strerror(error));
  return 0;
}
