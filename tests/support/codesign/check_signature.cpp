// Judges code on disk as the library does, for tests and benchmarks that run on whole files.

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/CodeSigning.h"
#include "platform/linux/codesign/Assessment.h"
#include "platform/linux/codesign/LinuxCodeSigning.h"
#include "support/TemporaryFolder.h"

namespace brindlewick::testing {
namespace {

constexpr std::string_view help = R"(usage: check-signature [--root FILE] [--now SECONDS] [--requirement TEXT] PATH...
       check-signature [--root FILE] [--now SECONDS] --assess PATH...

Prints one line for each bundle or Mach-O file, its fields separated by tabs: valid or invalid; the team, or "-"; apple
if the root of every architecture is among the anchors, or "-"; the path. With --requirement, the third field is met if
every architecture satisfies it, or "-". With --assess: accepted or rejected, the source, and the path. The anchors are
those of the build, or the certificate (DER) in FILE. The clock is the system's, or stands at SECONDS since 1970.
)";

struct Options {
  std::string root;
  std::optional<std::int64_t> now;
  bool assesses = false;
  std::optional<std::string> requirement;
  std::vector<std::string> paths;
};

Options parsed(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--assess")
      options.assesses = true;
    else if (argument == "--requirement" && i + 1 < count)
      options.requirement = arguments[++i];
    else if (argument == "--root" && i + 1 < count)
      options.root = arguments[++i];
    else if (argument == "--now" && i + 1 < count)
      options.now = std::stoll(arguments[++i]);
    else
      options.paths.push_back(argument);
  }
  if (options.paths.empty()) throw std::invalid_argument("no path");
  return options;
}

CodeSigningTrust trustOf(const std::string& root) {
  if (root.empty()) return builtInTrust();
  const std::string certificate = readFile(Path(root));
  SHA256 digest;
  digest.update(asBytes(certificate));
  return {{digest.finish()},
          [] { return std::chrono::system_clock::now(); },
          {Bytes(certificate.begin(), certificate.end())}};
}

void judge(CodeSigning& signing, const Options& options, const std::string& path) {
  const auto requirement = signing.requirement(options.requirement.value_or("anchor apple generic"));
  if (requirement == nullptr) throw std::invalid_argument("no requirement");
  const auto code = signing.staticCode(Path(path));
  const bool isValid = code != nullptr && code->isValid();
  const auto team = isValid ? code->teamIdentifier() : std::nullopt;
  const bool isMet = isValid && code->satisfies(*requirement);
  const std::string_view met = options.requirement ? "met" : "apple";
  std::cout << (isValid ? "valid" : "invalid") << "\t" << team.value_or("-") << "\t" << (isMet ? met : "-") << "\t"
            << path << "\n";
}

void run(const Options& options) {
  CodeSigningTrust trust = trustOf(options.root);
  if (options.now) trust.now = [seconds = *options.now] { return std::chrono::system_clock::from_time_t(seconds); };
  const auto signing = makeLinuxCodeSigning(trust);
  for (const std::string& path : options.paths) {
    if (!options.assesses) {
      judge(*signing, options, path);
      continue;
    }
    const Assessment assessment = assess(Path(path), trust);
    std::cout << (assessment.accepted ? "accepted" : "rejected") << "\t" << assessment.source << "\t" << path << "\n";
  }
}

}  // namespace
}  // namespace brindlewick::testing

int main(int count, char** arguments) try {
  brindlewick::testing::run(brindlewick::testing::parsed(count, arguments));
  return 0;
} catch (const std::exception& error) {
  std::cerr << "check-signature: " << error.what() << "\n" << brindlewick::testing::help;
  return 2;
}
