#include "platform/linux/codesign/Certificate.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>
#include <iterator>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {
namespace {

using codesign::Certificate;
using Values = std::vector<std::string>;

Bytes issued(const CertificateShape& shape) { return issue(shape, nullptr).certificate; }

Certificate read(const CertificateShape& shape) { return Certificate::fromDER(issued(shape)).value(); }

CertificateShape leafShape() { return PKIShape::developerID().leaf; }

TEST(Certificate, isReadFromExactlyItsBytes) {
  Bytes der = issued(leafShape());
  EXPECT_TRUE(Certificate::fromDER(der).has_value());
  der.push_back(0);
  EXPECT_FALSE(Certificate::fromDER(der).has_value());
  der.pop_back();
  der.pop_back();
  EXPECT_FALSE(Certificate::fromDER(der).has_value());
  EXPECT_FALSE(Certificate::fromDER({}).has_value());
  EXPECT_FALSE(Certificate::fromDER(Bytes(100, 0x30)).has_value());
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(Certificate, keepsItsValueInCopies) {
  auto first = Certificate::fromDER(issued(leafShape()));
  const Certificate second = first.value();
  first.reset();
  EXPECT_EQ(second.subjectValues("C"), Values{"US"});
}

TEST(Certificate, knowsItsExtensions) {
  const Certificate certificate = read(leafShape());
  EXPECT_TRUE(certificate.hasExtension("1.2.840.113635.100.6.1.13"));
  EXPECT_TRUE(certificate.hasExtension("2.5.29.15"));
  EXPECT_FALSE(certificate.hasExtension("1.2.840.113635.100.6.1.12"));
  EXPECT_FALSE(certificate.hasExtension("1.2.840.113635.100.6.1"));
}

TEST(Certificate, hasNoExtensionUnderWhatIsNoIdentifier) {
  const Certificate certificate = read(leafShape());
  for (const std::string& text : {std::string(), std::string("."), std::string("keyUsage"), std::string("2..5.29.15"),
                                  std::string("1.2.840.113635.100.6.1.13."), std::string("1.2.840.113635.100.6.1.13 "),
                                  std::string("9.9"), "1." + std::string(1'000'000, '9')})
    EXPECT_FALSE(certificate.hasExtension(text)) << text.substr(0, 40);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(Certificate, namesTheValuesOfItsSubjectInTheirOrder) {
  CertificateShape shape = leafShape();
  shape.subject = {
      {"OU", "first"},  {"C", "US"},      {"ST", "a state"},      {"L", "a place"},  {"O", "a firm"},
      {"OU", "second"}, {"CN", "a name"}, {"street", "a street"}, {"UID", "a user"}, {"description", "a text"}};
  const Certificate certificate = read(shape);
  EXPECT_EQ(certificate.subjectValues("OU"), (Values{"first", "second"}));
  EXPECT_EQ(certificate.subjectValues("C"), Values{"US"});
  EXPECT_EQ(certificate.subjectValues("ST"), Values{"a state"});
  EXPECT_EQ(certificate.subjectValues("L"), Values{"a place"});
  EXPECT_EQ(certificate.subjectValues("O"), Values{"a firm"});
  EXPECT_EQ(certificate.subjectValues("CN"), Values{"a name"});
  EXPECT_EQ(certificate.subjectValues("STREET"), Values{"a street"});
  EXPECT_EQ(certificate.subjectValues("UID"), Values{"a user"});
  EXPECT_EQ(certificate.subjectValues("D"), Values{"a text"});
  EXPECT_EQ(certificate.subjectValues("ou"), Values{});
  EXPECT_EQ(certificate.subjectValues("serialNumber"), Values{});
}

TEST(Certificate, keepsEveryByteOfAValue) {
  CertificateShape shape = leafShape();
  const std::string text("TEAM\0X \xC3\xA4", 9);
  shape.subject = {{"OU", text}};
  EXPECT_EQ(read(shape).subjectValues("OU"), Values{text});
}

TEST(Certificate, keepsThePlaceOfAValueThatIsNoText) {
  CertificateShape shape = leafShape();
  const std::string text = "\x01\xC4\x80";
  shape.subject = {{"OU", text}, {"OU", "TEAM123456"}};
  Bytes encoded = issued(shape);
  // The value becomes a BIT STRING, which the grammar of names allows.
  encoded.at(positionOf(encoded, der::utf8(text))) = 0x03;
  encoded.at(positionOf(encoded, der::utf8(text))) = 0x03;  // the issuer's name as well
  EXPECT_EQ(Certificate::fromDER(encoded).value().subjectValues("OU"), (Values{"", "TEAM123456"}));
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(Certificate, isNamedByTheDigestsOfItsBytes) {
  const Bytes der = issued(leafShape());
  const Certificate certificate = Certificate::fromDER(der).value();
  EXPECT_TRUE(std::ranges::equal(certificate.fingerprint(), digestOf(der, "sha256")));
  EXPECT_TRUE(std::ranges::equal(certificate.sha1(), digestOf(der, "sha1")));
}

}  // namespace
}  // namespace brindlewick::testing
