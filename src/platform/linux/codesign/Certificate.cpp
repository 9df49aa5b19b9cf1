#include "platform/linux/codesign/Certificate.h"

#include <openssl/objects.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// OpenSSL reads a long number of an identifier in quadratic time, and requirements come from whoever wrote the code.
constexpr std::size_t maximumIdentifierLength = 128;

/// Numbers with a dot between each two. OpenSSL also takes names, and dots where no number follows.
bool isDottedDecimal(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' && text.find("..") == std::string_view::npos &&
         text.find_first_not_of("0123456789.") == std::string_view::npos;
}

ObjectHolder objectOf(const std::string& oid) {
  if (oid.size() > maximumIdentifierLength || !isDottedDecimal(oid)) return nullptr;
  return ObjectHolder(OBJ_txt2obj(oid.c_str(), 1));
}

int attributeOf(std::string_view key) {
  static constexpr std::pair<std::string_view, int> attributes[] = {
      {"C", NID_countryName},          {"CN", NID_commonName},        {"D", NID_description},
      {"L", NID_localityName},         {"O", NID_organizationName},   {"OU", NID_organizationalUnitName},
      {"ST", NID_stateOrProvinceName}, {"STREET", NID_streetAddress}, {"UID", NID_userId}};
  const auto* const found = std::ranges::find(attributes, key, &std::pair<std::string_view, int>::first);
  return found == std::end(attributes) ? NID_undef : found->second;
}

/// A text that has no form in UTF-8 keeps its place as an empty one: it equals no value that a rule asks for, and the
/// values behind it do not move up.
std::string textOf(const ASN1_STRING* value) {
  unsigned char* utf8 = nullptr;
  const int length = ASN1_STRING_to_UTF8(&utf8, value);
  if (length < 0) return {};
  const OpenSSLHolder<unsigned char, [](unsigned char* text) { OPENSSL_free(text); }> owner(utf8);
  return {reinterpret_cast<const char*>(utf8), static_cast<std::size_t>(length)};
}

template <std::size_t size>
std::array<std::uint8_t, size> digestOf(const X509* certificate, const EVP_MD* algorithm) {
  const ErrorQueueScope errors;
  std::array<std::uint8_t, size> digest{};
  require(EVP_MD_get_size(algorithm) == static_cast<int>(size), "a certificate is hashed with the algorithm asked for");
  require(X509_digest(certificate, algorithm, digest.data(), nullptr) == 1, "a certificate can be hashed");
  return digest;
}

}  // namespace

Certificate::Certificate(x509_st* certificate) {
  require(certificate != nullptr && X509_up_ref(certificate) == 1, "there is a certificate");
  certificate_ = {certificate, X509_free};
}

std::optional<Certificate> Certificate::fromDER(ByteView der) {
  const ErrorQueueScope errors;
  if (der.size() > std::numeric_limits<int>::max()) return std::nullopt;
  const unsigned char* end = der.data();
  const X509Holder certificate(d2i_X509(nullptr, &end, static_cast<long>(der.size())));
  if (!certificate || end != der.data() + der.size()) return std::nullopt;
  return Certificate(certificate.get());
}

bool Certificate::hasExtension(const std::string& oid) const {
  const ErrorQueueScope errors;
  const ObjectHolder object = objectOf(oid);
  return object && X509_get_ext_by_OBJ(get(), object.get(), -1) >= 0;
}

std::vector<std::string> Certificate::subjectValues(std::string_view key) const {
  const ErrorQueueScope errors;
  std::vector<std::string> values;
  const int attribute = attributeOf(key);
  if (attribute == NID_undef) return values;
  const X509_NAME* subject = X509_get_subject_name(get());
  for (int at = -1; (at = X509_NAME_get_index_by_NID(subject, attribute, at)) >= 0;)
    values.push_back(textOf(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, at))));
  return values;
}

std::array<std::uint8_t, 20> Certificate::sha1() const { return digestOf<20>(get(), EVP_sha1()); }

SHA256Digest Certificate::fingerprint() const { return digestOf<32>(get(), EVP_sha256()); }

}  // namespace brindlewick::codesign
