// The tests of the validation are worth what their messages are worth, so OpenSSL reads those first.

#include <gtest/gtest.h>
#include <openssl/cms.h>
#include <openssl/err.h>

#include <memory>

#include "support/codesign/SignedMessage.h"

namespace brindlewick::testing {
namespace {

/// What OpenSSL says of a message over `content`: signatures and attributes, not the certificates.
bool opensslAccepts(const Bytes& message, const Bytes& content) {
  const unsigned char* at = message.data();
  const std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)> parsed(
      d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(message.size())), CMS_ContentInfo_free);
  const std::unique_ptr<BIO, decltype(&BIO_free)> source(
      BIO_new_mem_buf(content.data(), static_cast<int>(content.size())), BIO_free);
  const bool accepted = parsed != nullptr && CMS_verify(parsed.get(), nullptr, nullptr, source.get(), nullptr,
                                                        CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
  ERR_clear_error();
  return accepted;
}

class SignedMessageBuilder : public ::testing::Test {
 protected:
  [[nodiscard]] Bytes built() const { return signedMessage(shape, content, directories, pki); }

  MessageShape shape;
  Bytes content{'c', 'o', 'd', 'e'};
  std::vector<ListedDirectory> directories{{1, digestOf(content, "sha1")}, {2, digestOf(content, "sha256")}};
  TestPKI pki = TestPKI::issued(PKIShape::developerID());
};

TEST_F(SignedMessageBuilder, writesWhatOpenSSLAccepts) { EXPECT_TRUE(opensslAccepts(built(), content)); }

TEST_F(SignedMessageBuilder, signsTheContent) {
  const Bytes message = built();
  content.back() ^= 1;
  EXPECT_FALSE(opensslAccepts(message, content));
}

TEST_F(SignedMessageBuilder, writesIndefiniteLengths) {
  shape.outerLengths = der::Length::indefinite;
  EXPECT_TRUE(opensslAccepts(built(), content));
}

TEST_F(SignedMessageBuilder, writesRSASignatures) {
  PKIShape certificates = PKIShape::developerID();
  certificates.leaf.keyName = "rsa leaf";
  pki = TestPKI::issued(certificates);
  EXPECT_TRUE(opensslAccepts(built(), content));
}

TEST_F(SignedMessageBuilder, reproducesTheOrderThatMakesOpenSSLRefuseGenuineSignatures) {
  shape.digestsInDEROrder = false;
  EXPECT_FALSE(opensslAccepts(built(), content));
}

}  // namespace
}  // namespace brindlewick::testing
