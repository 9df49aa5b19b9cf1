#pragma once

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "support/codesign/CodeDirectory.h"
#include "support/codesign/SignedMessage.h"
#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {

/// Who vouches for the code: a certificate, nobody, nobody by the linker's hand, or there is no signature at all.
enum class SignatureKind { certificate, adHoc, linker, none };

/// The blobs of a signature by slot number, in the order of the index.
using SlotBlobs = std::vector<std::pair<std::uint32_t, Bytes>>;

/// The signature of one slice.
struct SignatureShape {
  SignatureKind kind = SignatureKind::certificate;
  std::vector<DirectoryShape> directories = {DirectoryShape{}};  ///< the base first, then the alternates
  MessageShape message;
  std::map<std::uint32_t, Bytes> specialBlobs;  ///< further blobs hashed in special slots, such as entitlements (5)
  /// Changes the blobs before the index is written, and the finished SuperBlob.
  std::function<void(SlotBlobs&)> editBlobs;
  std::function<void(Bytes&)> spoil;
};

/// What the code around a slice fixes for its signature.
struct SigningContext {
  std::string identifier;
  std::string team;
  std::map<int, Bytes> sealedFiles;  ///< the content of Info.plist (1) and CodeResources (3)
  TestPKI pki;
};

/// A signature with the hash that names the code, of its best directory.
struct CodeSignature {
  Bytes superBlob;
  Bytes codeHash;
};

inline constexpr std::uint32_t messageSlot = 0x10000;
inline constexpr std::uint32_t alternateDirectorySlot = 0x1000;

/// A blob: magic, length, payload.
[[nodiscard]] Bytes blob(std::uint32_t magic, ByteView payload);
[[nodiscard]] Bytes superBlob(const SlotBlobs& blobs);

[[nodiscard]] CodeSignature sign(const SignatureShape& shape, ByteView code, const SigningContext& context);

}  // namespace brindlewick::testing
