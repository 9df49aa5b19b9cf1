#include "platform/linux/codesign/HashAgility.h"

#include <plist/plist.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/codesign/Refusal.h"

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

// The list of four code hashes takes less than 1 KiB. libplist frees what it has read by recursion, so the length
// bounds how deep a hostile list can nest.
constexpr std::size_t maximumListByteCount = 4096;

struct PropertyListRelease {
  void operator()(void* node) const noexcept { plist_free(node); }
};
using PropertyListHolder = std::unique_ptr<void, PropertyListRelease>;

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

ByteView dataAt(plist_t array, std::size_t index) {
  plist_t const item = plist_array_get_item(array, static_cast<std::uint32_t>(index));
  require(item != nullptr && plist_get_node_type(item) == PLIST_DATA, "a code hash is data");
  std::uint64_t length = 0;
  const char* const bytes = plist_get_data_ptr(item, &length);
  return {reinterpret_cast<const std::uint8_t*>(bytes), static_cast<std::size_t>(length)};
}

void requireCodeHashes(ByteView list, std::span<const CoveredDirectory> ascending) {
  require(list.size() <= maximumListByteCount, "the list of code hashes is short");
  const std::string text(asText(list));
  plist_t parsed = nullptr;
  plist_from_xml(text.c_str(), static_cast<std::uint32_t>(text.size()), &parsed);
  const PropertyListHolder root(parsed);
  require(root && plist_get_node_type(parsed) == PLIST_DICT, "the list of code hashes is a property list");
  plist_t const hashes = plist_dict_get_item(parsed, "cdhashes");
  require(hashes != nullptr && plist_get_node_type(hashes) == PLIST_ARRAY, "the list of code hashes has its array");
  require(plist_array_get_size(hashes) == ascending.size(), "each directory has one code hash in the list");
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    const HashValue digest = digestOf(ascending[i]);
    const ByteView codeHash = digest.bytes().first(std::tuple_size_v<CDHash>);
    require(std::ranges::equal(dataAt(hashes, i), codeHash), "the list holds the directories' code hashes in order");
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
