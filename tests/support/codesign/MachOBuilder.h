#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/codesign/CodeSigner.h"

namespace brindlewick::testing {

inline constexpr std::uint32_t arm64 = 0x0100000C;
inline constexpr std::uint32_t x86_64 = 0x01000007;
inline constexpr std::uint32_t executableFile = 2, dynamicLibraryFile = 6;
inline constexpr std::uint32_t codeSignatureCommand = 0x1D, segment64Command = 0x19;

/// One architecture's Mach-O file: `__TEXT` from 0 on, `__LINKEDIT` to the end, the signature in its last part.
struct SliceShape {
  std::uint32_t cpuType = arm64;
  std::uint32_t cpuSubtype = 0;
  std::uint32_t fileType = executableFile;
  std::size_t codeByteCount = 0x6F10;  ///< what the signature covers: the last page is a short one
  std::size_t signatureByteCount = 0x8000;
  std::optional<std::string> informationSection;  ///< the content of `__TEXT,__info_plist`
  std::uint64_t seed = 1;                         ///< of the code's bytes: two seeds, two programs
  SignatureShape signature;
  /// Changes the slice before it is signed and after.
  std::function<void(Bytes&)> beforeSigning, afterSigning;
};

/// A Mach-O file with its slices; more than one makes a universal file.
struct CodeFileShape {
  std::vector<SliceShape> slices = {SliceShape{}};
  bool isUniversal = false;  ///< also with a single slice
  std::uint32_t alignment = 14;
  /// Changes the finished file.
  std::function<void(Bytes&)> spoil;

  /// x86_64 and arm64.
  [[nodiscard]] static CodeFileShape universal(std::uint32_t fileType = executableFile, std::uint64_t seed = 1);
};

/// A signed file, with the code hash of every slice.
struct SignedCode {
  Bytes file;
  std::vector<Bytes> codeHashes;
};

[[nodiscard]] SignedCode signedCode(const CodeFileShape& shape, const SigningContext& context);

/// Where the n-th load command of a kind stands in a thin 64-bit file; throws std::out_of_range if it has none.
[[nodiscard]] std::size_t commandOffset(const Bytes& slice, std::uint32_t command, std::size_t n = 0);
/// Where a slice of a universal file begins.
[[nodiscard]] std::size_t sliceOffset(const Bytes& file, std::size_t n);
[[nodiscard]] std::size_t sliceByteCount(const Bytes& file, std::size_t n);
/// Where the signature begins, relative to its slice.
[[nodiscard]] std::size_t signatureOffset(const Bytes& slice);

}  // namespace brindlewick::testing
