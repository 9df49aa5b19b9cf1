#include "platform/posix/ChildProcess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/posix/ChildSurroundings.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

Descriptor openNullDevice() {
  Descriptor device(uninterrupted([] { return ::open("/dev/null", O_RDWR | O_CLOEXEC); }));
  if (!device) throwErrno("open", "/dev/null");
  return device;
}

/// All that the child needs, made ready before it exists: between fork and exec only signal-safe calls are allowed.
struct Launch {
  const ProgramStart& start;
  const char* executable;
  std::vector<char*> arguments;
  std::array<const char*, 3> environment;
  int nullDevice;
  int output;
  int failure;
  ChildSession session;
  pid_t parent;
};

void restoreSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) ::sigaction(signal, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeProgram(const Launch& launch) {
  // A tool serves this process alone: it would go on writing into a folder that nobody will remove.
  if (launch.session == ChildSession::ours && !endTogetherWith(launch.parent)) ::_exit(127);
  restoreSignals();
  ::umask(022);
  if (launch.session == ChildSession::itsOwn) ::setsid();
  const bool hasStreams = ::dup2(launch.nullDevice, STDIN_FILENO) >= 0 && ::dup2(launch.output, STDOUT_FILENO) >= 0 &&
                          ::dup2(launch.nullDevice, STDERR_FILENO) >= 0;
  const int code = hasStreams ? launch.start.become(launch.executable, launch.arguments.data(),
                                                    const_cast<char* const*>(launch.environment.data()))
                              : errno;
  static_cast<void>(!::write(launch.failure, &code, sizeof code));
  ::_exit(127);
}

std::vector<char*> toVector(const Path& executable, const std::vector<std::string>& arguments) {
  std::vector<char*> vector{const_cast<char*>(executable.c_str())};
  for (const auto& argument : arguments) vector.push_back(const_cast<char*>(argument.c_str()));
  vector.push_back(nullptr);
  return vector;
}

}  // namespace

ChildProcess::ChildProcess(const Path& executable, const std::vector<std::string>& arguments, int output,
                           ChildSession session) {
  const auto nullDevice = openNullDevice();
  auto failure = makePipe();
  const ProgramStart start;
  const Launch launch{.start = start,
                      .executable = executable.c_str(),
                      .arguments = toVector(executable, arguments),
                      .environment = {"PATH=/usr/bin:/bin:/usr/sbin:/sbin", localeSetting(), nullptr},
                      .nullDevice = nullDevice.get(),
                      .output = output >= 0 ? output : nullDevice.get(),
                      .failure = failure.writer.get(),
                      .session = session,
                      .parent = ::getpid()};
  process_ = ::fork();
  if (process_ < 0) throwErrno("start", executable.string());
  if (process_ == 0) becomeProgram(launch);

  // The child's end of this pipe closes when the program runs, and says why when it does not.
  failure.writer.reset();
  int code = 0;
  const auto count = uninterrupted([&] { return ::read(failure.reader.get(), &code, sizeof code); });
  if (count == sizeof code) {
    static_cast<void>(waitForSuccess());
    throwErrno("start", executable.string(), code);
  }
}

ChildProcess::~ChildProcess() {
  if (process_ < 0) return;
  kill();
  static_cast<void>(uninterrupted([&] { return ::waitpid(process_, nullptr, 0); }));
}

void ChildProcess::kill() noexcept {
  // Of a child that is gone the number is -1, and that would end every process of this user.
  if (process_ > 0) ::kill(process_, SIGKILL);
}

bool ChildProcess::waitForSuccess() {
  int status = 0;
  const auto result = uninterrupted([&] { return ::waitpid(process_, &status, 0); });
  process_ = -1;
  return result > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace brindlewick::posix
