#include <gtest/gtest.h>

#include "platform/TextCoding.h"

namespace brindlewick {
namespace {

/// Another decoder, by the letter of RFC 4648: groups of four characters of table 1 (section 4), padding in the last
/// one only, and the bits that padding cuts off zero (section 3.5).
std::optional<Bytes> reference(std::string_view text) {
  constexpr std::string_view table = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (text.size() % 4 != 0) return std::nullopt;
  Bytes bytes;
  for (; !text.empty(); text.remove_prefix(4)) {
    const std::size_t padding = text.size() > 4 || text[3] != '=' ? 0 : text[2] != '=' ? 1 : 2;
    std::size_t bits = 0;
    for (std::size_t i = 0; i < 4 - padding; ++i) {
      const auto value = table.find(text[i]);
      if (value == std::string_view::npos) return std::nullopt;
      bits = bits << 6 | value;
    }
    bits <<= 6 * padding;
    if ((bits & ((std::size_t{1} << 8 * padding) - 1)) != 0) return std::nullopt;
    for (std::size_t i = 0; i < 3 - padding; ++i) bytes.push_back(static_cast<std::uint8_t>(bits >> (16 - 8 * i)));
  }
  return bytes;
}

/// Bytes whose encodings go through the whole alphabet, and end in every way.
Bytes sample(std::size_t byteCount, unsigned seed) {
  Bytes bytes(byteCount);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>((seed = seed * 1'103'515'245U + 12'345U) >> 16);
  return bytes;
}

std::string hex(std::string_view text) { return encodeHex(asBytes(text)); }

std::optional<Bytes> revealed(const std::optional<SecretBytes>& secret) {
  if (!secret) return std::nullopt;
  return Bytes(secret->view().begin(), secret->view().end());
}

TEST(Base64, isTheStandardOne) {
  // RFC 4648, section 10.
  const std::pair<const char*, const char*> published[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
  for (const auto& [text, encoded] : published) {
    EXPECT_EQ(encodeBase64(asBytes(text)), encoded);
    EXPECT_EQ(asText(decodeBase64(encoded).value()), text);
    EXPECT_EQ(asText(decodeSecretBase64(encoded).value().view()), text);
    EXPECT_EQ(asText(reference(encoded).value()), text);
  }
  EXPECT_EQ(encodeBase64(Bytes{0xFB, 0xFF}), "+/8=");
}

TEST(Base64, isDecodedStrictly) {
  for (const char* text : {"Zg", "Zg=", "Zg===", "Z", "Zm9v\n", " Zm9v", "Zm 9v",
                           "Zm9v=", "Zh==", "-_8=", "Zg==Zg==", "=", "====", "\xC3\xA9==", "Zm\xAFv"}) {
    EXPECT_FALSE(decodeBase64(text)) << text;
    EXPECT_FALSE(decodeSecretBase64(text)) << text;
    EXPECT_FALSE(reference(text)) << text;
  }
}

TEST(Base64, isReadBackFromItsEncodingWhateverTheBytes) {
  for (std::size_t byteCount = 0; byteCount < 200; ++byteCount) {
    const auto bytes = sample(byteCount, static_cast<unsigned>(byteCount));
    const auto text = encodeBase64(bytes);
    EXPECT_EQ(reference(text), bytes);
    EXPECT_EQ(decodeBase64(text), bytes);
    EXPECT_EQ(revealed(decodeSecretBase64(text)), bytes);
  }
}

TEST(Base64, isJudgedLikeTheReferenceWhicheverByteIsReplaced) {
  std::size_t accepted = 0;
  for (const std::size_t byteCount : {1U, 2U, 3U, 4U, 5U, 6U, 31U, 32U, 33U, 64U}) {
    const auto valid = encodeBase64(sample(byteCount, 7));
    for (std::size_t position = 0; position < valid.size(); ++position) {
      for (int byte = 0; byte < 256; ++byte) {
        auto text = valid;
        text[position] = static_cast<char>(byte);
        const auto expected = reference(text);
        ASSERT_EQ(decodeBase64(text), expected) << hex(text);
        ASSERT_EQ(revealed(decodeSecretBase64(text)), expected) << hex(text);
        if (expected) ++accepted;
      }
    }
  }
  EXPECT_GT(accepted, 64U) << "the sweep has met too few valid texts to mean anything";
}

TEST(Base64, isJudgedLikeTheReferenceWhicheverTwoBytesAreReplaced) {
  for (const std::size_t byteCount : {1U, 2U, 3U, 4U}) {
    const auto valid = encodeBase64(sample(byteCount, 11));
    for (std::size_t position = 0; position + 1 < valid.size(); ++position) {
      for (int bytes = 0; bytes < 65'536; ++bytes) {
        auto text = valid;
        text[position] = static_cast<char>(bytes >> 8);
        text[position + 1] = static_cast<char>(bytes & 0xFF);
        ASSERT_EQ(decodeBase64(text), reference(text)) << hex(text);
      }
    }
  }
}

TEST(Base64, isJudgedLikeTheReferenceWhicheverByteIsInsertedOrLeftOut) {
  for (std::size_t byteCount = 0; byteCount < 8; ++byteCount) {
    const auto valid = encodeBase64(sample(byteCount, 13));
    for (std::size_t position = 0; position <= valid.size(); ++position) {
      for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t count = 1; count <= 4; ++count) {
          auto text = valid;
          text.insert(position, count, static_cast<char>(byte));
          ASSERT_EQ(decodeBase64(text), reference(text)) << hex(text);
        }
      }
      const auto shorter = valid.substr(0, position) + valid.substr(std::min(position + 1, valid.size()));
      ASSERT_EQ(decodeBase64(shorter), reference(shorter)) << shorter;
    }
  }
}

}  // namespace
}  // namespace brindlewick
