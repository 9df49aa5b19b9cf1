#include "platform/linux/codesign/HashAgility.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/codesign/Refusal.h"
#include "plist/PropertyListTree.h"

namespace brindlewick::codesign {
namespace {

// 1.2.840.113635.100.9.1 and .2
constexpr std::uint8_t codeHashesIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x63, 0x64, 0x09, 0x01};
constexpr std::uint8_t digestsIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x63, 0x64, 0x09, 0x02};

// 1.3.14.3.2.26, 2.16.840.1.101.3.4.2.1 and .2
constexpr std::uint8_t sha1Identifier[] = {0x2B, 0x0E, 0x03, 0x02, 0x1A};
constexpr std::uint8_t sha256Identifier[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01};
constexpr std::uint8_t sha384Identifier[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02};

// One directory for each hash type.
constexpr std::size_t maximumDirectoryCount = 4;

// The list of four code hashes takes less than 1 KiB.
constexpr std::size_t maximumListByteCount = 4096;

ByteView algorithmOf(HashType type) {
  switch (type) {
    case HashType::sha1:
      return sha1Identifier;
    case HashType::sha256:
    case HashType::sha256Truncated:
      return sha256Identifier;
    case HashType::sha384:
      return sha384Identifier;
  }
  throw Refusal("a directory has a known hash type");
}

/// The whole digest, for a hash type that is a cut one too.
HashValue digestOf(const CoveredDirectory& directory) {
  const bool isCut = directory.hashType == HashType::sha256Truncated;
  return hashOf(isCut ? HashType::sha256 : directory.hashType, directory.blob);
}

void requireCodeHashes(ByteView list, std::span<const CoveredDirectory> ascending) {
  require(list.size() <= maximumListByteCount, "the list of code hashes is short");
  const auto parsed = parsePropertyList(list);
  require(parsed.has_value(), "the list of code hashes is a property list");
  const PropertyListNode* node = find(*parsed, "cdhashes");
  const auto* hashes = node == nullptr ? nullptr : node->as<PropertyListArray>();
  require(hashes != nullptr, "the list of code hashes has its array");
  require(hashes->size() == ascending.size(), "each directory has one code hash in the list");
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    const HashValue digest = digestOf(ascending[i]);
    const ByteView codeHash = digest.bytes().first(std::tuple_size_v<CDHash>);
    const auto* listed = (*hashes)[i].as<Bytes>();
    require(listed != nullptr && std::ranges::equal(*listed, codeHash),
            "the list holds the directories' code hashes in order");
  }
}

/// Takes the directory away that a value is about, so that two values cannot be about one.
void takeDirectory(std::vector<CoveredDirectory>& directories, const ber::Element& value) {
  ber::Reader parts(value);
  const ByteView algorithm = parts.next(ber::objectIdentifier).content;
  const ByteView digest = parts.next(ber::octetString).content;
  require(parts.isAtEnd(), "a listed digest is an algorithm and a digest");
  const auto named = std::ranges::find_if(directories, [&](const CoveredDirectory& directory) {
    return std::ranges::equal(algorithmOf(directory.hashType), algorithm) && digestOf(directory).equals(digest);
  });
  require(named != directories.end(), "a listed digest is the one of a directory");
  directories.erase(named);
}

void requireDigests(ByteView values, std::vector<CoveredDirectory> directories) {
  for (ber::Reader reader(values); !reader.isAtEnd();) takeDirectory(directories, reader.next(ber::sequence));
  require(directories.empty(), "each directory has a listed digest");
}

}  // namespace

void requireHashAgility(const SignedAttributes& attributes, std::span<const CoveredDirectory> directories) {
  require(!directories.empty() && directories.size() <= maximumDirectoryCount, "there is a directory for a hash type");
  std::vector<CoveredDirectory> ascending(directories.begin(), directories.end());
  std::ranges::sort(ascending, {}, &CoveredDirectory::hashType);

  const auto codeHashes = attributes.value(codeHashesIdentifier, ber::octetString);
  const auto digests = attributes.values(digestsIdentifier);
  if (codeHashes) requireCodeHashes(*codeHashes, ascending);
  if (digests) requireDigests(*digests, ascending);
  require(directories.size() == 1 || codeHashes || digests, "the attributes cover every directory");
}

}  // namespace brindlewick::codesign
