#include <gtest/gtest.h>

#include <array>

#include "platform/Digest.h"
#include "platform/Ed25519.h"
#include "platform/TextCoding.h"

namespace brindlewick {
namespace {

Bytes fromHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  return bytes;
}

template <typename Fixed>
Fixed fixed(ByteView bytes) {
  Fixed value;
  EXPECT_EQ(bytes.size(), value.bytes.size());
  std::ranges::copy(bytes, value.bytes.begin());
  return value;
}

std::string sha256(std::string_view text) {
  SHA256 digest;
  digest.update(asBytes(text));
  return encodeHex(digest.finish());
}

TEST(SHA256, hasThePublishedDigests) {
  // FIPS 180-4 and the NIST example values for SHA-256.
  EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256(std::string(1'000'000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SHA256, doesNotDependOnHowTheBytesArrive) {
  SHA256 digest;
  for (const char c : std::string_view("abc")) digest.update(asBytes({&c, 1}));
  EXPECT_EQ(encodeHex(digest.finish()), sha256("abc"));
}

struct SignatureVector {
  const char *seed, *publicKey, *message, *signature;
};

/// RFC 8032, section 7.1, tests 1 to 3 and the SHA(abc) test.
constexpr SignatureVector vectors[] = {
    {"9d61b19deffd5a60ba844af492ec2cc44449c5697b326919703bac031cae7f60",
     "d75a980182b10ab7d54bfed3c964073a0ee172f3daa62325af021a68f707511a", "",
     "e5564300c360ac729086e2cc806e828a84877f1eb8e5d974d873e065224901555fb8821590a33bacc61e39701cf9b46bd25bf5f0595bbe24"
     "655141438e7a100b"},
    {"4ccd089b28ff96da9db6c346ec114e0f5b8a319f35aba624da8cf6ed4fb8a6fb",
     "3d4017c3e843895a92b70aa74d1b7ebc9c982ccf2ec4968cc0cd55f12af4660c", "72",
     "92a009a9f0d4cab8720e820b5f642540a2b27b5416503f8fb3762223ebdb69da085ac1e43e15996e458f3613d0f11d8c387b2eaeb4302aee"
     "b00d291612bb0c00"},
    {"c5aa8df43f9f837bedb7442f31dcb7b166d38535076f094b85ce3a2e0b4458f7",
     "fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025", "af82",
     "6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac18ff9b538d16f290ae67f760984dc6594a7c15e9716ed28d"
     "c027beceea1ec40a"},
    {"833fe62409237b9d62ec77587520911e9a759cec1d19755b7da901b96dca3d42",
     "ec172b93ad5e563bf4932c70e1245034c35467ef2efd4d64ebf819683467e2bf",
     "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e"
     "2a9ac94fa54ca49f",
     "dc2a4459e7369633a52b1bf277839a00201009a3efbf3ecb69bea2186c26b58909351fc9ac90b3ecfdfbc7c66431e0303dca179c138ac17a"
     "d9bef1177331a704"}};

TEST(Ed25519, signsAsPublished) {
  for (const auto& vector : vectors) {
    const auto key = Ed25519PrivateKey::fromSeed(fromHex(vector.seed)).value();
    EXPECT_EQ(encodeHex(key.publicKey().bytes), vector.publicKey);
    EXPECT_EQ(encodeHex(key.sign(fromHex(vector.message)).bytes), vector.signature);
  }
}

TEST(Ed25519, verifiesThePublishedSignaturesAndNoOthers) {
  for (const auto& vector : vectors) {
    const auto key = fixed<Ed25519PublicKey>(fromHex(vector.publicKey));
    const auto signature = fixed<Ed25519Signature>(fromHex(vector.signature));
    auto message = fromHex(vector.message);
    EXPECT_TRUE(verifyEd25519(key, message, signature));
    message.push_back(0);
    EXPECT_FALSE(verifyEd25519(key, message, signature));
  }
}

TEST(Ed25519, refusesKeysOfSmallOrder) {
  // The eight points of order 1, 2, 4 and 8, and two encodings of them that are not canonical. With such a key a
  // signature of R = the point and S = 0 holds for every message, or for one in a few, in libraries that accept it.
  const char* points[] = {"0100000000000000000000000000000000000000000000000000000000000000",
                          "ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
                          "0000000000000000000000000000000000000000000000000000000000000000",
                          "0000000000000000000000000000000000000000000000000000000000000080",
                          "26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc05",
                          "26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc85",
                          "c7176a703d4dd84fba3c0b760d10670f2a2053fa2c39ccc64ec7fd7792ac037a",
                          "c7176a703d4dd84fba3c0b760d10670f2a2053fa2c39ccc64ec7fd7792ac03fa",
                          "0100000000000000000000000000000000000000000000000000000000000080",
                          "edffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f"};
  for (const char* keyPoint : points) {
    for (const char* signaturePoint : points) {
      auto signature = fromHex(signaturePoint);
      signature.resize(64);
      for (int message = 0; message < 64; ++message) {
        const Bytes text{static_cast<std::uint8_t>(message)};
        EXPECT_FALSE(
            verifyEd25519(fixed<Ed25519PublicKey>(fromHex(keyPoint)), text, fixed<Ed25519Signature>(signature)))
            << keyPoint << " " << signaturePoint;
      }
    }
  }
}

TEST(Ed25519, refusesASignatureWhoseScalarIsNotReduced) {
  // S + L verifies the same equation; accepting it would let a second spelling of one signature pass.
  auto signature = fromHex(vectors[0].signature);
  const auto order = fromHex("edd3f55c1a631258d69cf7a2def9de1400000000000000000000000000000010");
  unsigned carry = 0;
  for (std::size_t i = 0; i < 32; ++i) {
    carry += signature[32 + i] + unsigned{order[i]};
    signature[32 + i] = static_cast<std::uint8_t>(carry);
    carry >>= 8;
  }
  EXPECT_FALSE(
      verifyEd25519(fixed<Ed25519PublicKey>(fromHex(vectors[0].publicKey)), {}, fixed<Ed25519Signature>(signature)));
}

TEST(Ed25519, takesOnlySeedsOf32Bytes) {
  EXPECT_FALSE(Ed25519PrivateKey::fromSeed(Bytes(31)));
  EXPECT_FALSE(Ed25519PrivateKey::fromSeed(Bytes(33)));
  EXPECT_TRUE(Ed25519PrivateKey::fromSeed(Bytes(32)));
}

TEST(RandomUUID, isVersion4InUpperCaseAndNeverTheSame) {
  const auto uuid = randomUUID();
  ASSERT_EQ(uuid.size(), 36U);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
    EXPECT_TRUE(isHyphen ? uuid[i] == '-'
                         : std::string_view("0123456789ABCDEF").find(uuid[i]) != std::string_view::npos)
        << uuid;
  }
  EXPECT_EQ(uuid[14], '4');
  EXPECT_NE(std::string_view("89AB").find(uuid[19]), std::string_view::npos);
  EXPECT_NE(uuid, randomUUID());
}

}  // namespace
}  // namespace brindlewick
