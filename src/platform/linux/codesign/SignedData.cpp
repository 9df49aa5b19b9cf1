#include "platform/linux/codesign/SignedData.h"

#include <openssl/objects.h>

#include <algorithm>
#include <array>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// 1.2.840.113549.1.9.16.2.14 (RFC 3161, appendix A)
constexpr std::uint8_t timestampTokenIdentifier[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x10, 0x02, 0x0E};

ber::Element withoutPadding(ByteView message) {
  ber::Reader reader(message);
  const ber::Element element = reader.next(ber::sequence);
  require(std::ranges::all_of(reader.rest(), [](std::uint8_t byte) { return byte == 0; }),
          "only zeros follow a message");
  return element;
}

ContentInfoHolder decoded(ByteView encoding) {
  const unsigned char* end = encoding.data();
  ContentInfoHolder message(d2i_CMS_ContentInfo(nullptr, &end, static_cast<long>(encoding.size())));
  require(message && end == encoding.data() + encoding.size(), "a message can be decoded to its end");
  require(OBJ_obj2nid(CMS_get0_type(message.get())) == NID_pkcs7_signed, "a message is signed data");
  return message;
}

int numberOf(const X509_ALGOR* algorithm) {
  const ASN1_OBJECT* identifier = nullptr;
  X509_ALGOR_get0(&identifier, nullptr, nullptr, algorithm);
  return OBJ_obj2nid(identifier);
}

/// The name of the only kind of key whose signatures this algorithm makes together with the digest.
const char* keyTypeOf(int signatureAlgorithm, int digestAlgorithm) {
  if (signatureAlgorithm == NID_rsaEncryption) return "RSA";
  int digest = NID_undef;
  int key = NID_undef;
  require(OBJ_find_sigid_algs(signatureAlgorithm, &digest, &key) == 1, "the signature algorithm is known");
  require(digest == digestAlgorithm, "the signature algorithm uses the digest of the signer");
  require(key == NID_rsaEncryption || key == NID_X9_62_id_ecPublicKey, "a signature is one of RSA or ECDSA");
  return key == NID_rsaEncryption ? "RSA" : "EC";
}

}  // namespace

SignedData::SignedData(ByteView message)
    : parts_(readSignedDataParts(withoutPadding(message))), attributes_(parts_.attributes) {
  message_ = decoded(withoutPadding(message).encoding);
  auto* const signers = CMS_get0_SignerInfos(message_.get());
  require(sk_CMS_SignerInfo_num(signers) == 1, "a message has one signer");
  signerInfo_ = sk_CMS_SignerInfo_value(signers, 0);
  const OwnedCertificates embedded(CMS_get1_certs(message_.get()));
  for (int i = 0; i < sk_X509_num(embedded.get()); ++i) certificates_.emplace_back(sk_X509_value(embedded.get(), i));
}

std::optional<ByteView> SignedData::content() const {
  ASN1_OCTET_STRING** const content = CMS_get0_content(message_.get());
  if (content == nullptr || *content == nullptr) return std::nullopt;
  return ByteView(ASN1_STRING_get0_data(*content), static_cast<std::size_t>(ASN1_STRING_length(*content)));
}

const ASN1_OBJECT* SignedData::contentType() const { return CMS_get0_eContentType(message_.get()); }

const Certificate& SignedData::signer() const {
  const auto signer = std::ranges::find_if(certificates_, [this](const Certificate& certificate) {
    return CMS_SignerInfo_cert_cmp(signerInfo_, certificate.get()) == 0;
  });
  require(signer != certificates_.end(), "a message carries its signer's certificate");
  return *signer;
}

int SignedData::digestAlgorithm() const {
  X509_ALGOR* algorithm = nullptr;
  CMS_SignerInfo_get0_algs(signerInfo_, nullptr, nullptr, &algorithm, nullptr);
  return numberOf(algorithm);
}

ByteView SignedData::signature() const {
  const ASN1_OCTET_STRING* const signature = CMS_SignerInfo_get0_signature(signerInfo_);
  return {ASN1_STRING_get0_data(signature), static_cast<std::size_t>(ASN1_STRING_length(signature))};
}

std::optional<ByteView> SignedData::timestampToken() const {
  if (!parts_.unsignedAttributes) return std::nullopt;
  std::optional<ByteView> values;
  for (ber::Reader attributes(*parts_.unsignedAttributes); !attributes.isAtEnd();) {
    const Attribute attribute = nextAttribute(attributes);
    if (!std::ranges::equal(attribute.identifier, timestampTokenIdentifier)) continue;
    require(!values, "unsigned attributes hold one timestamp token");
    values = attribute.values;
  }
  require(values.has_value(), "unsigned attributes hold a timestamp token");
  ber::Reader tokens(*values);
  const ber::Element token = tokens.next();
  require(tokens.isAtEnd(), "the timestamp attribute has one value");
  require(token.tag == ber::sequence, "a timestamp token is a sequence");
  return token.encoding;
}

void SignedData::requireContent(ByteView type, ByteView bytes) const {
  const ByteView embeddedType(OBJ_get0_data(contentType()), OBJ_length(contentType()));
  require(std::ranges::equal(embeddedType, type), "a message has content of the expected type");
  require(std::ranges::equal(attributes_.contentType(), type), "the attributes are about content of that type");
  require(isDigest(attributes_.messageDigest(), digestAlgorithm(), bytes), "the attributes are about this content");
}

void SignedData::requireSignature() const {
  X509_ALGOR* algorithm = nullptr;
  CMS_SignerInfo_get0_algs(signerInfo_, nullptr, nullptr, nullptr, &algorithm);
  EVP_PKEY* const key = X509_get0_pubkey(signer().get());
  require(key != nullptr, "the signer's key can be used");
  require(EVP_PKEY_is_a(key, keyTypeOf(numberOf(algorithm), digestAlgorithm())) == 1,
          "the signature algorithm is one of the signer's key");
  const DigestContextHolder context(EVP_MD_CTX_new());
  require(context && EVP_DigestVerifyInit_ex(context.get(), nullptr, OBJ_nid2sn(digestAlgorithm()), nullptr, nullptr,
                                             key, nullptr) == 1,
          "the verification of a signature begins");
  const std::uint8_t tag = SignedAttributes::signedTag();
  const ByteView rest = attributes_.signedRest();
  require(EVP_DigestVerifyUpdate(context.get(), &tag, 1) == 1 &&
              EVP_DigestVerifyUpdate(context.get(), rest.data(), rest.size()) == 1,
          "the attributes can be hashed");
  require(EVP_DigestVerifyFinal(context.get(), signature().data(), signature().size()) == 1,
          "the signature is one of the signer's key over the attributes");
}

bool isDigest(ByteView digest, int algorithm, ByteView bytes) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> computed{};
  unsigned size = 0;
  const EVP_MD* const function = EVP_get_digestbynid(algorithm);
  require(function != nullptr, "the digest algorithm is known");
  require(EVP_Digest(bytes.data(), bytes.size(), computed.data(), &size, function, nullptr) == 1,
          "the digest algorithm is available");
  return std::ranges::equal(digest, ByteView(computed.data(), size));
}

}  // namespace brindlewick::codesign
