#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/codesign/ByteWriter.h"
#include "unit/codesign/MessageWorld.h"

namespace brindlewick::testing {
namespace {

/// One element of an encoding: where its tag stands, and its place in the tree, "0.1.0" for the first child of the
/// second child of the whole.
struct Place {
  std::size_t at = 0;
  std::string path;
};

struct Header {
  std::uint8_t tag = 0;
  std::size_t begin = 0;  ///< of the content
  std::size_t end = 0;
};

/// Of a definite length that fits; the messages of these tests have no others.
Header headerAt(ByteView bytes, std::size_t at) {
  std::size_t length = bytes[at + 1];
  std::size_t begin = at + 2;
  if (length >= 0x80) {
    const std::size_t count = length & 0x7F;
    length = 0;
    for (std::size_t i = 0; i < count; ++i) length = length << 8 | bytes[begin + i];
    begin += count;
  }
  return {bytes[at], begin, begin + length};
}

/// The content of a token is a sequence in an octet string.
bool holdsElements(ByteView bytes, const Header& header) {
  if ((header.tag & 0x20) != 0) return true;
  return header.tag == 0x04 && header.end - header.begin > 40 && bytes[header.begin] == 0x30 &&
         headerAt(bytes, header.begin).end == header.end;
}

void collect(ByteView bytes, std::size_t begin, std::size_t end, const std::string& parent,
             std::vector<Place>& places) {
  std::size_t number = 0;
  for (std::size_t at = begin; at < end; ++number) {
    const Header header = headerAt(bytes, at);
    places.push_back({at, parent + std::to_string(number)});
    if (holdsElements(bytes, header)) collect(bytes, header.begin, header.end, places.back().path + ".", places);
    at = header.end;
  }
}

std::vector<Place> elementsOf(ByteView bytes) {
  std::vector<Place> places;
  collect(bytes, 0, bytes.size(), "", places);
  return places;
}

/// Each single bit changed, and each tag that a message has anywhere. Certificates are covered by the signatures of
/// their issuers: a bit of the number, the one for constructed elements and one of the class will do there.
std::set<std::uint8_t> replacements(std::uint8_t tag, bool isInACertificate) {
  const auto flipped = [tag](unsigned bit) { return static_cast<std::uint8_t>(tag ^ (1U << bit)); };
  if (isInACertificate) return {flipped(0), flipped(5), flipped(7)};
  std::set<std::uint8_t> all = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x10, 0x11, 0x13,
                                0x17, 0x18, 0x24, 0x30, 0x31, 0x80, 0x81, 0xA0, 0xA1, 0xA2, 0xA3};
  for (unsigned bit = 0; bit < 8; ++bit) all.insert(flipped(bit));
  all.erase(tag);
  return all;
}

// Where the parts stand in a message, and in the token in its unsigned attributes.
constexpr const char* tokenPath = "0.1.0.4.0.6.0.1.0.";
constexpr const char* certificatesPath = "1.0.3.";
constexpr const char* signerNamePath = "1.0.4.0.1.0.";

/// Whether the element lies below this place of the message or of the token.
bool isBelow(const Place& place, const std::string& path) {
  return place.path.starts_with("0." + path) || place.path.starts_with(tokenPath + path);
}

/// The texts of the signer's name are compared as texts, of whatever type of string each is (RFC 5280, section 7.1).
bool isAnEqualText(const Place& place, std::uint8_t tag, std::uint8_t other) {
  const std::set<std::uint8_t> equalTypes = {0x0C, 0x13};
  return isBelow(place, signerNamePath) && place.path.ends_with(".0.1") && equalTypes.contains(tag) &&
         equalTypes.contains(other);
}

class SignedMessageTags : public ::testing::TestWithParam<const char*> {};

TEST_P(SignedMessageTags, areThoseOfTheirPlacesEverywhere) {
  MessageWorld world;
  world.certificates.leaf.keyName = std::string(GetParam()) + "leaf";
  world.certificates.timestampLeaf.keyName = std::string(GetParam()) + "timestamp leaf";
  world.sign();
  ASSERT_EQ(world.brokenRule(), "");
  const std::vector<Place> places = elementsOf(world.bytes);
  ASSERT_GT(places.size(), 400U);
  for (const Place& place : places) {
    const std::uint8_t tag = world.bytes[place.at];
    for (const std::uint8_t other : replacements(tag, isBelow(place, certificatesPath))) {
      world.bytes[place.at] = other;
      EXPECT_EQ(world.brokenRule().empty(), isAnEqualText(place, tag, other))
          << place.path << ": " << int{tag} << " became " << int{other};
    }
    world.bytes[place.at] = tag;
  }
  EXPECT_EQ(world.brokenRule(), "");
}

/// The algorithms of RSA have parameters, those of elliptic curves have none.
INSTANTIATE_TEST_SUITE_P(Keys, SignedMessageTags, ::testing::Values("", "rsa "),
                         [](const auto& info) { return *info.param == 0 ? "EllipticCurve" : "RSA"; });

}  // namespace
}  // namespace brindlewick::testing
