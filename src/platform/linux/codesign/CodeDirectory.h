#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Bytes.h"
#include "platform/linux/codesign/CodeHash.h"

namespace brindlewick::codesign {

/// Flags of a CodeDirectory (Apple, cs_blobs.h).
inline constexpr std::uint32_t adHocFlag = 0x2;
inline constexpr std::uint32_t expirationFlag = 0x400;

/// The list of hashes that is signed: one for each page of the code and for each special slot. Views point into the
/// blob, which must stay.
struct CodeDirectory {
  ByteView blob;
  std::uint32_t version = 0;
  std::uint32_t flags = 0;
  HashType hashType = HashType::sha256;
  std::uint64_t codeLimit = 0;      ///< how many bytes from the slice's start are covered
  std::uint64_t pageByteCount = 0;  ///< 4096 or 16384; the last page may be shorter
  std::uint32_t pageCount = 0;
  std::uint32_t specialSlotCount = 0;
  std::string_view identifier;
  std::optional<std::string_view> team;  ///< absent in directories that name none
  CDHash codeHash{};

  /// Checks versions 0x20001 to 0x2F000, that every field lies inside the blob, that pages and limit agree, and that
  /// identifier and team could stand in a requirement's text. Throws Refusal.
  [[nodiscard]] static CodeDirectory parse(ByteView blob);

  /// The hash of page `n`, below pageCount.
  [[nodiscard]] ByteView pageHash(std::uint64_t n) const;
  /// The hash of special slot `n`, from 1; absent when there is none or when it is all zeros.
  [[nodiscard]] std::optional<ByteView> specialHash(std::uint32_t n) const;

 private:
  std::uint64_t hashOffset_ = 0;
};

}  // namespace brindlewick::codesign
