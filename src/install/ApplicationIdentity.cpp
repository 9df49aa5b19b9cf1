#include "install/ApplicationIdentity.h"

#include <algorithm>

#include "install/BundleProperties.h"
#include "install/ToolRunner.h"
#include "install/UpdateInstallError.h"
#include "platform/AsciiText.h"
#include "platform/PlatformError.h"
#include "platform/UTF8.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;

constexpr std::size_t maximumToolOutputByteCount = 1'048'576;

constexpr std::string_view requirementUpToIdentifier = "anchor apple generic and identifier \"";
/// The markers of Apple's Developer ID certification authority and of a Developer ID application certificate.
constexpr std::string_view requirementUpToTeam =
    "\" and certificate 1[field.1.2.840.113635.100.6.2.6] exists and certificate "
    "leaf[field.1.2.840.113635.100.6.1.13] exists and certificate leaf[subject.OU] = \"";

bool isBundleDirectory(FileSystem& files, const Path& bundle) {
  if (bundle.extension() != "app") return false;
  try {
    const auto attributes = files.attributes(bundle);
    return attributes && attributes->kind == FileKind::directory;
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    return false;
  }
}

/// A text that cannot end the quoted string of a requirement in which it stands.
bool isQuotable(std::string_view text) { return text.find_first_of(std::string_view("\"\\\0", 3)) == text.npos; }

std::string developerIDRequirement(const std::string& identifier, const std::string& team) {
  require(isQuotable(identifier) && isQuotable(team), invalidCodeSignature);
  return std::string(requirementUpToIdentifier) + identifier + std::string(requirementUpToTeam) + team + "\"";
}

/// The team that signed the bundle.
std::string verifySignature(CodeSigning& codeSigning, const Path& bundle, const std::string& identifier,
                            const std::optional<std::string>& expectedTeam) try {
  const auto code = codeSigning.staticCode(bundle);
  require(code != nullptr, invalidCodeSignature);
  require(code->isValid(), invalidCodeSignature);
  auto team = unwrap(code->teamIdentifier(), invalidCodeSignature);
  require(!team.empty(), invalidCodeSignature);
  require(!expectedTeam || team == *expectedTeam, wrongSigningTeam);

  const auto requirement = codeSigning.requirement(developerIDRequirement(identifier, team));
  require(requirement != nullptr, invalidCodeSignature);
  require(code->satisfies(*requirement), invalidCodeSignature);
  return team;
} catch (const PlatformError& error) {
  if (error.isInterruption()) throw;
  throw Failure(invalidCodeSignature);
}

bool isPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

void verifyArchitectures(ProcessLauncher& processes, const Path& bundle, const std::string& executable) {
  // With a slash or dots, lipo would look at a file outside the folder of executables. Asked no earlier than here: that
  // a signature is none, or one of another team, says more about a bundle.
  require(isPlainName(executable), invalidApplicationBundle);
  const auto file = bundle / "Contents/MacOS" / executable;
  const auto output =
      ToolRunner::run(processes, Path("/usr/bin/lipo"), {"-archs", file.string()}, maximumToolOutputByteCount);
  const auto architectures = words(isUTF8(asText(output)) ? asText(output) : std::string_view());
  const auto has = [&](std::string_view name) { return std::ranges::find(architectures, name) != architectures.end(); };
  require(has("arm64") && has("x86_64"), unsupportedArchitecture);
}

/// Asks Gatekeeper. No answer is no acceptance.
bool isAcceptedByGatekeeper(ProcessLauncher& processes, const Path& bundle) {
  try {
    const auto run =
        processes.run(Path("/usr/sbin/spctl"), {"--assess", "--type", "execute", "--verbose=2", bundle.string()},
                      maximumToolOutputByteCount);
    return run.succeeded && !run.exceededByteLimit;
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    return false;
  }
}

}  // namespace

VerifiedApplicationIdentity ApplicationIdentity::verify(const InspectionTools& tools, const Path& bundle,
                                                        const ExpectedApplication& expected) {
  require(isBundleDirectory(tools.files, bundle), invalidApplicationBundle);
  const auto properties = BundleProperties::read(tools.files, tools.propertyLists, bundle);
  require(properties.identifier == expected.identifier, wrongApplicationIdentity);
  require(!expected.version || properties.shortVersion == *expected.version, wrongReleaseVersion);
  require(!expected.build || properties.version == *expected.build, wrongReleaseVersion);
  auto team = verifySignature(tools.codeSigning, bundle, properties.identifier, expected.teamIdentifier);
  verifyArchitectures(tools.processes, bundle, properties.executable);
  require(!expected.isAssessed || isAcceptedByGatekeeper(tools.processes, bundle), gatekeeperRejected);
  return {properties.identifier, properties.shortVersion, properties.version, std::move(team)};
}

}  // namespace brindlewick
