#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick {

/// What a publisher says of one release. It is never trusted as loose JSON: it travels as its canonical bytes next to
/// a signature of exactly those bytes.
struct UpdateManifest {
  /// The only format is 1.
  std::int64_t schemaVersion = 0;
  /// The bundle identifier of the application.
  std::string appIdentifier;
  /// A semantic version.
  std::string version;
  /// At least 1.
  std::int64_t build = 0;
  /// The lowest macOS version, of two or three numbers.
  std::string minimumSystemVersion;
  /// An absolute https URL whose path ends in ".zip".
  std::string artifactURL;
  /// SHA-256 of the archive: 64 lower-case hexadecimal digits.
  std::string artifactSHA256;

  /// Reads JSON; all seven members are required with their types, others are ignored. Absent when that fails.
  [[nodiscard]] static std::optional<UpdateManifest> decode(ByteView json);

  bool operator==(const UpdateManifest&) const = default;
};

/// The canonical bytes of a manifest: the bytes that are signed, and the only ones that are accepted.
namespace CanonicalUpdateManifest {

/// Absent when a text of the manifest is not UTF-8.
[[nodiscard]] std::optional<Bytes> encode(const UpdateManifest& manifest);

/// The manifest whose canonical bytes these are. Throws Failure<UpdateSecurityError>: nonCanonicalPayload for bytes
/// that are not JSON, lack a member, or differ in any way from the encoding of what they say.
[[nodiscard]] UpdateManifest fromPayload(ByteView payload);

}  // namespace CanonicalUpdateManifest

}  // namespace brindlewick
