#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/CodeSigning.h"
#include "platform/FileSystem.h"
#include "platform/ProcessLauncher.h"
#include "platform/PropertyList.h"

namespace brindlewick {

/// What it takes to judge an application.
struct InspectionTools {
  FileSystem& files;
  PropertyListReader& propertyLists;
  CodeSigning& codeSigning;
  ProcessLauncher& processes;
};

/// What an application must be. Absent members are not compared.
struct ExpectedApplication {
  std::string identifier;
  /// Compared as text.
  std::optional<std::string> version = {};
  std::optional<std::int64_t> build = {};
  std::optional<std::string> teamIdentifier = {};
  /// Whether Gatekeeper must accept it as well.
  bool isAssessed = false;
};

/// What a genuine application has said of itself.
struct VerifiedApplicationIdentity {
  std::string bundleIdentifier;
  std::string version;
  std::int64_t build = 0;
  /// Never empty.
  std::string teamIdentifier;

  bool operator==(const VerifiedApplicationIdentity&) const = default;
};

namespace ApplicationIdentity {

/// Decides whether a directory is the genuine application: the bundle, its version, a valid Developer ID signature of
/// one team over every architecture, both architectures, and Gatekeeper's acceptance where that is asked for. Changes
/// nothing.
///
/// Throws Failure<UpdateInstallError>, the first that applies: invalidApplicationBundle for the place and the property
/// list, wrongApplicationIdentity, wrongReleaseVersion, invalidCodeSignature for the signature as such,
/// wrongSigningTeam, invalidCodeSignature for a signature that is not of a Developer ID, invalidApplicationBundle for
/// the executable's name and for a failing lipo, unsupportedArchitecture, gatekeeperRejected. PlatformError when lipo
/// cannot be started.
[[nodiscard]] VerifiedApplicationIdentity verify(const InspectionTools& tools, const Path& bundle,
                                                 const ExpectedApplication& expected);

}  // namespace ApplicationIdentity

}  // namespace brindlewick
