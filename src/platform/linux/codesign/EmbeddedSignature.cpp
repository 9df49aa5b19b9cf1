#include "platform/linux/codesign/EmbeddedSignature.h"

#include <algorithm>
#include <array>

#include "platform/linux/codesign/ByteFields.h"

namespace brindlewick::codesign {
namespace {

/// 2 GiB of code in small pages, hashed twice, need half of it.
constexpr std::uint64_t maximumByteCount = 64 << 20;

/// The stronger hash first.
constexpr std::array preference = {HashType::sha384, HashType::sha256, HashType::sha256Truncated, HashType::sha1};

bool agree(const CodeDirectory& one, const CodeDirectory& other) {
  return one.identifier == other.identifier && one.team == other.team && one.flags == other.flags &&
         one.codeLimit == other.codeLimit;
}

}  // namespace

EmbeddedSignature EmbeddedSignature::read(ByteSource& file, const MachOSlice& slice) {
  require(slice.signature.length >= blobHeaderByteCount, "there is room for a signature");
  const std::uint64_t begin = slice.range.offset + slice.signature.offset;
  Bytes bytes = file.read(begin, blobHeaderByteCount);
  // What lies behind the SuperBlob in its room is padding that nothing covers.
  const std::uint64_t length = big32(bytes, 4);
  require(length >= blobHeaderByteCount && length <= slice.signature.length && length <= maximumByteCount,
          "a SuperBlob lies in its room");
  const Bytes more = file.read(begin + blobHeaderByteCount, length - blobHeaderByteCount);
  bytes.insert(bytes.end(), more.begin(), more.end());
  return parse(std::move(bytes));
}

EmbeddedSignature EmbeddedSignature::parse(Bytes bytes) {
  EmbeddedSignature signature;
  signature.bytes_ = std::move(bytes);
  signature.blobs_ = SuperBlob::parse(signature.bytes_);
  signature.readDirectories();
  signature.readMessage();
  return signature;
}

void EmbeddedSignature::readDirectories() {
  const auto base = blobs_.blob(slot::codeDirectory);
  require(base.has_value(), "a signature has a directory");
  directories_.push_back(CodeDirectory::parse(*base));
  bool hasGap = false;
  for (std::uint32_t number = slot::firstAlternate; number <= slot::lastAlternate; ++number) {
    const auto alternate = blobs_.blob(number);
    hasGap = hasGap || !alternate;
    if (!alternate) continue;
    // The platform reads up to the first gap; what it would not see must not be there.
    require(!hasGap, "alternate directories follow each other");
    const CodeDirectory directory = CodeDirectory::parse(*alternate);
    require(agree(directory, directories_.front()), "the directories of a signature agree");
    for (const CodeDirectory& known : directories_)
      require(known.hashType != directory.hashType, "the directories of a signature differ in their hashes");
    directories_.push_back(directory);
  }
}

void EmbeddedSignature::readMessage() {
  if (const auto wrapper = blobs_.blob(slot::signature)) message_ = rest(*wrapper, blobHeaderByteCount);
  const bool saysAdHoc = (directories_.front().flags & adHocFlag) != 0;
  require(saysAdHoc == message_.empty(), "code is ad-hoc signed or has a message");
}

const CodeDirectory& EmbeddedSignature::best() const {
  return *std::ranges::min_element(directories_, {}, [](const CodeDirectory& directory) {
    return std::ranges::find(preference, directory.hashType) - preference.begin();
  });
}

std::optional<ByteView> EmbeddedSignature::component(std::uint32_t number) const {
  const auto blob = blobs_.blob(number);
  if (!blob) return std::nullopt;
  // The content of these two is hashed without its wrapper.
  const bool isWrapped = number == slot::applicationSpecific || number == slot::representationSpecific;
  return isWrapped ? rest(*blob, blobHeaderByteCount) : *blob;
}

}  // namespace brindlewick::codesign
