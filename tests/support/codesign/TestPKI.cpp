#include "support/codesign/TestPKI.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "support/TemporaryFolder.h"

namespace brindlewick::testing {
namespace {

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

constexpr const char* developerIDAuthorityMarker = "1.2.840.113635.100.6.2.6";
constexpr const char* developerIDLeafMarker = "1.2.840.113635.100.6.1.13";
constexpr const char* ticketAuthorityMarker = "1.2.840.113635.100.6.2.17";
constexpr const char* ticketLeafMarker = "1.2.840.113635.100.6.1.30";

void must(bool done) {
  if (!done) throw std::runtime_error("OpenSSL refuses to issue a test certificate");
}

template <typename Object, typename Encode>
Bytes encoded(Object* object, Encode encode) {
  unsigned char* bytes = nullptr;
  const int length = encode(object, &bytes);
  must(length > 0);
  Bytes copy(bytes, bytes + length);
  OPENSSL_free(bytes);
  return copy;
}

Certificate decoded(ByteView der) {
  const unsigned char* at = der.data();
  return {d2i_X509(nullptr, &at, static_cast<long>(der.size())), X509_free};
}

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
  if (value.empty()) return;
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()), X509_EXTENSION_free);
  must(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void addExtension(X509* certificate, const ExtensionShape& shape) {
  const std::unique_ptr<ASN1_OBJECT, decltype(&ASN1_OBJECT_free)> object(OBJ_txt2obj(shape.oid.c_str(), 1),
                                                                         ASN1_OBJECT_free);
  const std::unique_ptr<ASN1_OCTET_STRING, decltype(&ASN1_OCTET_STRING_free)> value(ASN1_OCTET_STRING_new(),
                                                                                    ASN1_OCTET_STRING_free);
  must(ASN1_OCTET_STRING_set(value.get(), shape.value.data(), static_cast<int>(shape.value.size())) == 1);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509_EXTENSION_create_by_OBJ(nullptr, object.get(), shape.critical ? 1 : 0, value.get()), X509_EXTENSION_free);
  must(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void addExtensions(X509* certificate, X509* issuer, const CertificateShape& shape) {
  if (shape.authority)
    addExtension(certificate, issuer, NID_basic_constraints,
                 *shape.authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  addExtension(certificate, issuer, NID_key_usage, shape.keyUsage.empty() ? "" : "critical," + shape.keyUsage);
  addExtension(certificate, issuer, NID_ext_key_usage, shape.extendedKeyUsage);
  addExtension(certificate, issuer, NID_subject_key_identifier, "hash");
  if (issuer != certificate) addExtension(certificate, issuer, NID_authority_key_identifier, "keyid");
  for (const ExtensionShape& extension : shape.extensions) addExtension(certificate, extension);
}

void setSubject(X509* certificate, const CertificateShape& shape) {
  X509_NAME* name = X509_get_subject_name(certificate);
  for (const auto& [key, value] : shape.subject)
    must(X509_NAME_add_entry_by_txt(name, key.c_str(), MBSTRING_UTF8,
                                    reinterpret_cast<const unsigned char*>(value.data()),
                                    static_cast<int>(value.size()), -1, 0) == 1);
}

void setValidity(X509* certificate, const CertificateShape& shape) {
  must(ASN1_TIME_set(X509_getm_notBefore(certificate), std::chrono::system_clock::to_time_t(shape.notBefore)) !=
       nullptr);
  must(ASN1_TIME_set(X509_getm_notAfter(certificate), std::chrono::system_clock::to_time_t(shape.notAfter)) != nullptr);
}

Identity identityOf(const TestKey& key, X509* certificate) {
  return {key, encoded(certificate, i2d_X509),
          encoded(X509_get_issuer_name(certificate), [](auto* name, auto** out) { return i2d_X509_NAME(name, out); }),
          encoded(X509_get_serialNumber(certificate), i2d_ASN1_INTEGER)};
}

CertificateShape authority(const std::string& name, const std::string& keyName) {
  CertificateShape shape;
  shape.subject = {{"C", "US"}, {"O", "Test Authority"}, {"CN", name}};
  shape.keyName = keyName;
  shape.authority = true;
  shape.keyUsage = "keyCertSign,cRLSign";
  return shape;
}

CertificateShape signer(std::vector<std::pair<std::string, std::string>> subject, const std::string& keyName,
                        const std::string& extendedKeyUsage) {
  CertificateShape shape;
  shape.subject = std::move(subject);
  shape.keyName = keyName;
  shape.notBefore = day(2025, 1, 1);
  shape.notAfter = day(2030, 1, 1);
  shape.authority = false;
  shape.keyUsage = "digitalSignature";
  shape.extendedKeyUsage = extendedKeyUsage;
  return shape;
}

}  // namespace

der::Time day(int year, unsigned month, unsigned dayOfMonth) {
  return std::chrono::sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(dayOfMonth));
}

Identity issue(const CertificateShape& shape, const Identity* issuer) {
  const TestKey key = TestKey::named(shape.keyName);
  const Certificate certificate(X509_new(), X509_free);
  const Certificate above = issuer == nullptr ? Certificate(nullptr, X509_free) : decoded(issuer->certificate);
  X509* const issuing = above == nullptr ? certificate.get() : above.get();
  static long lastSerial = 1000;
  must(X509_set_version(certificate.get(), 2) == 1);
  must(ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), issuer == nullptr ? 1 : ++lastSerial) == 1);
  setSubject(certificate.get(), shape);
  must(X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuing)) == 1);
  setValidity(certificate.get(), shape);
  must(X509_set_pubkey(certificate.get(), key.get()) == 1);
  addExtensions(certificate.get(), issuing, shape);
  must(X509_sign(certificate.get(), issuer == nullptr ? key.get() : issuer->key.get(),
                 EVP_get_digestbyname(shape.issuersDigest.c_str())) > 0);
  return identityOf(key, certificate.get());
}

Identity loadOrIssue(const Path& folder, const std::string& name, const CertificateShape& shape) {
  const Path certificatePath = folder / (name + ".der");
  const Path keyPath = folder / (name + "-key.pem");
  if (!std::filesystem::exists(certificatePath.string())) {
    const Identity fresh = issue(shape, nullptr);
    writeFile(certificatePath, asText(fresh.certificate));
    writeFile(keyPath, fresh.key.pem(), 0600);
  }
  const std::string bytes = readFile(certificatePath);
  const Certificate certificate = decoded(asBytes(bytes));
  must(certificate != nullptr);
  return identityOf(TestKey::fromPEM(readFile(keyPath)), certificate.get());
}

PKIShape PKIShape::developerID(const std::string& team, const std::string& world) {
  PKIShape shape;
  shape.root = authority("Test Root CA" + world, "root" + world);
  shape.intermediate = authority("Test Developer ID Certification Authority" + world, "intermediate" + world);
  shape.intermediate.extensions = {{developerIDAuthorityMarker, false, der::null()}};
  shape.leaf = signer({{"UID", team},
                       {"CN", "Developer ID Application: Brindlewick (" + team + ")"},
                       {"OU", team},
                       {"O", "Brindlewick"},
                       {"C", "US"}},
                      "leaf" + world, "codeSigning");
  shape.leaf.extensions = {{developerIDLeafMarker, true, der::null()}};
  shape.timestampAuthority = authority("Test Timestamp Authority" + world, "timestamp authority" + world);
  shape.timestampLeaf =
      signer({{"CN", "Test Timestamp Signer" + world}}, "timestamp leaf" + world, "critical,timeStamping");
  shape.ticketRoot = authority("Test Root CA - G3" + world, "ticket root" + world);
  shape.ticketAuthority = authority("Test System Integration CA" + world, "ticket authority" + world);
  shape.ticketAuthority.extensions = {{ticketAuthorityMarker, false, der::null()}};
  shape.ticketLeaf = signer({{"CN", "Software Ticket Signing" + world}}, "ticket leaf" + world, "");
  shape.ticketLeaf.extensions = {{ticketLeafMarker, false, der::null()}};
  return shape;
}

TestPKI TestPKI::issued(const PKIShape& shape) {
  const Identity root = issue(shape.root, nullptr);
  TestPKI pki = issuedUnder(root, shape);
  pki.ticketRoot = issue(shape.ticketRoot, nullptr);
  pki.ticketAuthority = issue(shape.ticketAuthority, &pki.ticketRoot);
  pki.ticketLeaf = issue(shape.ticketLeaf, &pki.ticketAuthority);
  return pki;
}

TestPKI TestPKI::issuedUnder(const Identity& root, const PKIShape& shape) {
  const Identity intermediate = issue(shape.intermediate, &root);
  const Identity timestampAuthority = issue(shape.timestampAuthority, &root);
  const Identity ticketAuthority = issue(shape.ticketAuthority, &root);
  return {root,
          intermediate,
          issue(shape.leaf, &intermediate),
          timestampAuthority,
          issue(shape.timestampLeaf, &timestampAuthority),
          root,
          ticketAuthority,
          issue(shape.ticketLeaf, &ticketAuthority)};
}

}  // namespace brindlewick::testing
