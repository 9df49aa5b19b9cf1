// The one use of spctl that an updater makes: `spctl --assess --type execute --verbose=2 APPLICATION` says on standard
// error whether macOS would let a user start the application, and in the status: 0 accepted, 3 rejected, 1 not
// assessed.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>

#include "platform/linux/codesign/Assessment.h"

namespace {

constexpr int acceptedStatus = 0;
constexpr int failureStatus = 1;
constexpr int usageStatus = 2;
constexpr int rejectedStatus = 3;

int fail(const char* application, const char* reason) {
  std::fprintf(stderr, "spctl: %s: %s\n", application, reason);
  return failureStatus;
}

bool isUsage(int argumentCount, char** arguments) {
  constexpr std::string_view words[] = {"--assess", "--type", "execute", "--verbose=2"};
  constexpr int applicationAt = 1 + static_cast<int>(std::size(words));
  if (argumentCount != applicationAt + 1 || !std::equal(std::begin(words), std::end(words), arguments + 1))
    return false;
  const std::string_view application = arguments[applicationAt];
  return !application.empty() && !application.starts_with('-');
}

int assess(const char* application) try {
  // What is not there, or out of reach, has not been rejected.
  struct stat attributes {};
  if (lstat(application, &attributes) != 0) return fail(application, std::strerror(errno));
  const auto assessment = brindlewick::assess(brindlewick::Path(application), brindlewick::builtInTrust());
  std::fprintf(stderr, "%s: %s\nsource=%s\n", application, assessment.accepted ? "accepted" : "rejected",
               assessment.source.c_str());
  return assessment.accepted ? acceptedStatus : rejectedStatus;
} catch (const std::exception& error) {
  return fail(application, error.what());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  // No library may be told by its variables to load something or to read another configuration.
  ::clearenv();
  if (isUsage(argumentCount, arguments)) return assess(arguments[argumentCount - 1]);
  std::fputs("usage: spctl --assess --type execute --verbose=2 APPLICATION\n", stderr);
  return usageStatus;
}
