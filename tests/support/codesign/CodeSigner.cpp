#include "support/codesign/CodeSigner.h"

#include <algorithm>
#include <array>

#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing {
namespace {

constexpr std::uint32_t adHocFlag = 0x2;
constexpr std::uint32_t linkerFlags = 0x20002;
constexpr std::uint32_t wrapperMagic = 0xfade0b01;
const Bytes emptyRequirements = {0xfa, 0xde, 0x0c, 0x01, 0, 0, 0, 12, 0, 0, 0, 0};

/// How good a hash type is for naming the code: 4, 2, 3, 1.
int rank(std::uint8_t hashType) {
  constexpr std::array<std::uint8_t, 4> order = {1, 3, 2, 4};
  return static_cast<int>(std::find(order.begin(), order.end(), hashType) - order.begin());
}

DirectoryContent contentOf(const SignatureShape& shape, ByteView code, const SigningContext& context) {
  DirectoryContent content{context.identifier, context.team, code, {}};
  if (shape.kind == SignatureKind::linker) {
    content.team.clear();
    return content;
  }
  if (shape.kind == SignatureKind::adHoc) content.team.clear();
  content.specialContent = context.sealedFiles;
  content.specialContent[2] = emptyRequirements;
  for (const auto& [slot, special] : shape.specialBlobs) {
    // The content of these two is hashed without its wrapper.
    const bool isWrapped = slot == 4 || slot == 6;
    content.specialContent[static_cast<int>(slot)] = Bytes(special.begin() + (isWrapped ? 8 : 0), special.end());
  }
  return content;
}

DirectoryShape withKindsFlags(DirectoryShape directory, SignatureKind kind) {
  if (kind == SignatureKind::adHoc) directory.flags |= adHocFlag;
  if (kind == SignatureKind::linker) directory.flags = linkerFlags;
  return directory;
}

/// Directories by slot, with what the signed attributes list and the code hash of the best.
struct Directories {
  SlotBlobs blobs;
  std::vector<ListedDirectory> listed;
  Bytes codeHash;
};

Directories directoriesOf(const SignatureShape& shape, const DirectoryContent& content) {
  Directories result;
  int best = -1;
  for (const DirectoryShape& directory : shape.directories) {
    const Bytes bytes = codeDirectory(withKindsFlags(directory, shape.kind), content);
    const Bytes digest = directoryDigest(bytes, directory.hashType);
    const std::size_t position = result.blobs.size();
    result.blobs.emplace_back(position == 0 ? 0 : alternateDirectorySlot + position - 1, bytes);
    result.listed.push_back({directory.hashType, digest});
    if (rank(directory.hashType) > best) result.codeHash.assign(digest.begin(), digest.begin() + 20);
    best = std::max(best, rank(directory.hashType));
  }
  std::stable_sort(result.listed.begin(), result.listed.end(),
                   [](const auto& left, const auto& right) { return left.hashType < right.hashType; });
  return result;
}

}  // namespace

Bytes blob(std::uint32_t magic, ByteView payload) {
  return ByteWriter().big32(magic).big32(payload.size() + 8).raw(payload).bytes();
}

Bytes superBlob(const SlotBlobs& blobs) {
  ByteWriter index, content;
  const std::size_t indexSize = 12 + 8 * blobs.size();
  for (const auto& [slot, bytes] : blobs) {
    index.big32(slot).big32(indexSize + content.size());
    content.raw(bytes);
  }
  return ByteWriter()
      .big32(0xfade0cc0)
      .big32(indexSize + content.size())
      .big32(blobs.size())
      .raw(index.bytes())
      .raw(content.bytes())
      .bytes();
}

CodeSignature sign(const SignatureShape& shape, ByteView code, const SigningContext& context) {
  Directories directories = directoriesOf(shape, contentOf(shape, code, context));
  SlotBlobs blobs = directories.blobs;
  if (shape.kind != SignatureKind::linker) {
    blobs.emplace_back(2, emptyRequirements);
    blobs.insert(blobs.end(), shape.specialBlobs.begin(), shape.specialBlobs.end());
    const Bytes message = shape.kind == SignatureKind::adHoc
                              ? Bytes{}
                              : signedMessage(shape.message, blobs.front().second, directories.listed, context.pki);
    blobs.emplace_back(messageSlot, blob(wrapperMagic, message));
  }
  if (shape.editBlobs) shape.editBlobs(blobs);
  Bytes bytes = superBlob(blobs);
  if (shape.spoil) shape.spoil(bytes);
  return {bytes, directories.codeHash};
}

}  // namespace brindlewick::testing
