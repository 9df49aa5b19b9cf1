#include "support/codesign/TestKey.h"

#include <openssl/evp.h>
#include <openssl/pem.h>

#include <map>
#include <stdexcept>

#include "support/codesign/DER.h"

namespace brindlewick::testing {
namespace {

void must(bool done) {
  if (!done) throw std::runtime_error("OpenSSL refuses to make test material");
}

const EVP_MD* digestNamed(std::string_view name) {
  const EVP_MD* digest = EVP_get_digestbyname(std::string(name).c_str());
  must(digest != nullptr);
  return digest;
}

using Memory = std::unique_ptr<BIO, decltype(&BIO_free)>;

}  // namespace

Bytes digestOf(ByteView bytes, std::string_view algorithm) {
  Bytes digest(EVP_MAX_MD_SIZE);
  unsigned length = 0;
  must(EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, digestNamed(algorithm), nullptr) == 1);
  digest.resize(length);
  return digest;
}

TestKey::TestKey(EVP_PKEY* key) : key_(key, EVP_PKEY_free) { must(key != nullptr); }

TestKey TestKey::named(const std::string& name) {
  static std::map<std::string, TestKey> keys;
  const auto known = keys.find(name);
  if (known != keys.end()) return known->second;
  const TestKey key(name.starts_with("weak")  ? EVP_RSA_gen(768U)
                    : name.starts_with("rsa") ? EVP_RSA_gen(2048U)
                                              : EVP_EC_gen("P-256"));
  return keys.emplace(name, key).first->second;
}

TestKey TestKey::fromPEM(std::string_view text) {
  const Memory memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
  return TestKey(PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr));
}

std::string TestKey::pem() const {
  const Memory memory(BIO_new(BIO_s_mem()), BIO_free);
  must(PEM_write_bio_PrivateKey(memory.get(), get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

Bytes TestKey::sign(ByteView bytes, std::string_view digest) const {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  must(EVP_DigestSignInit(context.get(), nullptr, digestNamed(digest), nullptr, get()) == 1);
  std::size_t length = 0;
  must(EVP_DigestSign(context.get(), nullptr, &length, bytes.data(), bytes.size()) == 1);
  Bytes signature(length);
  must(EVP_DigestSign(context.get(), signature.data(), &length, bytes.data(), bytes.size()) == 1);
  signature.resize(length);
  return signature;
}

Bytes TestKey::signatureAlgorithm(std::string_view digest) const {
  if (EVP_PKEY_is_a(get(), "RSA") == 1) return der::algorithm("1.2.840.113549.1.1.1");
  if (digest == "sha1") return der::sequence({der::oid("1.2.840.10045.4.1")});
  return der::sequence({der::oid(digest == "sha384" ? "1.2.840.10045.4.3.3" : "1.2.840.10045.4.3.2")});
}

}  // namespace brindlewick::testing
