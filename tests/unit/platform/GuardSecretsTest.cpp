#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "platform/posix/PosixFileSystem.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/OwnProcess.h"
#include "support/SystemCallFilter.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using testing::inOwnProcess;

constexpr unsigned nobody = 65534;

/// The error of a system call that is given no descriptor and nothing else that it could work with.
int errorOf(long number) { return ::syscall(number, -1, 0, 0, 0, 0, 0) == -1 ? errno : 0; }

struct Call {
  const char* name;
  long number;
};

class GuardSecretsRefuses : public ::testing::TestWithParam<Call> {};

TEST_P(GuardSecretsRefuses, aCallThatSpeaksToTheNetwork) {
  inOwnProcess([] {
    EXPECT_NE(errorOf(GetParam().number), EPERM) << "and so proves nothing afterwards";
    PosixProcessLauncher().guardSecrets();
    EXPECT_EQ(errorOf(GetParam().number), EPERM);
  });
}

INSTANTIATE_TEST_SUITE_P(Each, GuardSecretsRefuses,
                         ::testing::Values(Call{"socket", SYS_socket}, Call{"socketpair", SYS_socketpair},
                                           Call{"connect", SYS_connect}, Call{"bind", SYS_bind},
                                           Call{"listen", SYS_listen}, Call{"accept", SYS_accept},
                                           Call{"accept4", SYS_accept4}, Call{"sendto", SYS_sendto},
                                           Call{"sendmsg", SYS_sendmsg}, Call{"sendmmsg", SYS_sendmmsg},
                                           Call{"recvfrom", SYS_recvfrom}, Call{"recvmsg", SYS_recvmsg},
                                           Call{"recvmmsg", SYS_recvmmsg}, Call{"takeDescriptor", SYS_pidfd_getfd}),
                         [](const auto& call) { return std::string(call.param.name); });

TEST(GuardSecrets, refusesRingsThatSpeakToTheNetworkWithoutAnyCall) {
  inOwnProcess([] {
    PosixProcessLauncher().guardSecrets();
    EXPECT_EQ(errorOf(SYS_io_uring_setup), EPERM);
  });
}

TEST(GuardSecrets, refusesSocketsOfEveryFamilyInEveryThread) {
  inOwnProcess([] {
    PosixProcessLauncher().guardSecrets();
    std::thread([] {
      for (const int family : {AF_INET, AF_INET6, AF_UNIX, AF_NETLINK, AF_PACKET, AF_VSOCK})
        for (const int type : {SOCK_STREAM, SOCK_DGRAM, SOCK_RAW}) {
          EXPECT_EQ(::socket(family, type, 0), -1) << family;
          EXPECT_EQ(errno, EPERM) << family;
        }
    }).join();
  });
}

#ifdef __x86_64__
TEST(GuardSecrets, refusesEveryCallByTheNumbersOfTheOtherInterface) {
  inOwnProcess([] {
    constexpr long x32 = 0x4000'0000;
    PosixProcessLauncher().guardSecrets();
    for (const long number : {0, 41, 512, 538}) EXPECT_EQ(errorOf(x32 + number), EPERM) << number;
  });
}

/// A kernel that has this interface no more ends the process by a signal instead.
TEST(GuardSecrets, refusesEveryCallByTheInterfaceOf32Bits) {
  const auto process = ::fork();
  if (process == 0) {
    PosixProcessLauncher().guardSecrets();
    long answer = 20;  // getpid, which never fails
    asm volatile("int $0x80" : "+a"(answer) : : "memory", "r8", "r9", "r10", "r11");
    ::_exit(answer == -EPERM ? 0 : 1);
  }
  int status = -1;
  ::waitpid(process, &status, 0);
  EXPECT_TRUE(status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV)) << status;
}
#endif

TEST(GuardSecrets, letsAnAnswerBeWrittenToASocketThatIsStandardOutput) {
  inOwnProcess([] {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    PosixProcessLauncher().guardSecrets();
    char letter = 'x';
    EXPECT_EQ(::write(ends[0], &letter, 1), 1);
    EXPECT_EQ(::read(ends[1], &letter, 1), 1);
  });
}

TEST(GuardSecrets, leavesNoCoreDump) {
  inOwnProcess([] {
    PosixProcessLauncher().guardSecrets();
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    rlimit limit{1, 1};
    ASSERT_EQ(::getrlimit(RLIMIT_CORE, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, 0U);
    EXPECT_EQ(limit.rlim_max, 0U);
  });
}

/// What /proc shows of a process that is not dumped belongs to the administrator.
TEST(GuardSecrets, leavesAnOrdinaryUserAllWorkOnFiles) {
  const testing::TemporaryFolder folder;
  std::filesystem::permissions(folder.path().string(), std::filesystem::perms::all);
  inOwnProcess([&] {
    if (::geteuid() == 0) {
      ASSERT_EQ(::setresuid(nobody, nobody, nobody), 0);
    }
    PosixProcessLauncher().guardSecrets();
    PosixFileSystem files;
    const std::string_view text = "content";
    for (const char* name : {"new", "new"}) files.writeAtomically(folder / name, asBytes(text), 0600);
    files.createDirectory(folder / "directory", 0700);
    files.copyTree(folder / "new", folder / "directory" / "copy");
    files.setPermissions(folder / "directory" / "copy", 0400);
    files.move(folder / "directory" / "copy", folder / "moved");
    EXPECT_EQ(testing::readFile(folder / "moved"), text);
    EXPECT_EQ(testing::permissionsOf(folder / "moved"), 0400U);
    files.removeTree(folder / "directory");
  });
}

struct Refusal {
  const char* name;
  long number;
  int code;
};

class GuardSecretsWithout : public ::testing::TestWithParam<Refusal> {};

/// Inside a container that has a filter of its own, say, or on a kernel without any.
TEST_P(GuardSecretsWithout, aCallOfTheSystemDoesWhatElseItCan) {
  inOwnProcess([] {
    testing::failSystemCall(GetParam().number, GetParam().code);
    PosixProcessLauncher().guardSecrets();
    const bool isFiltered = GetParam().number != SYS_seccomp;
    EXPECT_EQ(::socket(AF_UNIX, SOCK_STREAM, 0) == -1 && errno == EPERM, isFiltered);
    const testing::TemporaryFolder folder;
    testing::writeFile(folder / "file", "content");
    EXPECT_EQ(testing::readFile(folder / "file"), "content");
  });
}

INSTANTIATE_TEST_SUITE_P(
    Each, GuardSecretsWithout,
    ::testing::Values(Refusal{"aFilter", SYS_seccomp, EINVAL}, Refusal{"theCallForFilters", SYS_seccomp, ENOSYS},
                      Refusal{"theRightToFilter", SYS_seccomp, EPERM}, Refusal{"settings", SYS_prctl, EINVAL},
                      Refusal{"theRightToSet", SYS_prctl, EPERM}, Refusal{"limits", SYS_prlimit64, EPERM}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

}  // namespace
}  // namespace brindlewick
