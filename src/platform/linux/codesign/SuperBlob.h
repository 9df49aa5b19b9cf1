#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "platform/Bytes.h"

namespace brindlewick::codesign {

/// The slots of a signature (Apple, cs_blobs.h).
namespace slot {
inline constexpr std::uint32_t codeDirectory = 0;
inline constexpr std::uint32_t information = 1;  ///< Info.plist; never in the SuperBlob
inline constexpr std::uint32_t requirements = 2;
inline constexpr std::uint32_t resources = 3;  ///< CodeResources; never in the SuperBlob
inline constexpr std::uint32_t applicationSpecific = 4;
inline constexpr std::uint32_t entitlements = 5;
inline constexpr std::uint32_t representationSpecific = 6;
inline constexpr std::uint32_t entitlementsDER = 7;
inline constexpr std::uint32_t launchConstraintSelf = 8;
inline constexpr std::uint32_t libraryConstraint = 11;
inline constexpr std::uint32_t firstAlternate = 0x1000;
inline constexpr std::uint32_t lastAlternate = 0x1004;
inline constexpr std::uint32_t signature = 0x10000;
}  // namespace slot

/// The container of a signature: blobs, each under the number of its slot.
class SuperBlob {
 public:
  /// Takes apart exactly `bytes`, which must stay. At most 64 blobs; every one lies inside, behind the index, apart
  /// from the others; no slot occurs twice; a blob in a slot of the list above has the magic of that slot. Throws
  /// Refusal.
  [[nodiscard]] static SuperBlob parse(ByteView bytes);

  /// A whole blob, its header of eight bytes included.
  [[nodiscard]] std::optional<ByteView> blob(std::uint32_t slot) const;

 private:
  std::map<std::uint32_t, ByteView> blobs_;
};

inline constexpr std::uint64_t blobHeaderByteCount = 8;

}  // namespace brindlewick::codesign
