#pragma once

#include <cstdint>
#include <string>

#include "platform/FileSystem.h"
#include "platform/PropertyList.h"

namespace brindlewick {

/// What an application bundle says of itself in "Contents/Info.plist".
struct BundleProperties {
  std::string identifier;
  std::string shortVersion;
  std::int64_t version = 0;
  /// "Brindlewick" unless the bundle names another. As it stands there, so not yet a safe part of a path.
  std::string executable;

  /// Reads the list once, from a regular file of at most 1 MiB.
  ///
  /// Throws Failure<UpdateInstallError> invalidApplicationBundle for a list that cannot be read, a missing key, a value
  /// of the wrong kind, a version that is no decimal integer, and a package type that is not "APPL".
  [[nodiscard]] static BundleProperties read(FileSystem& files, PropertyListReader& propertyLists, const Path& bundle);
};

}  // namespace brindlewick
