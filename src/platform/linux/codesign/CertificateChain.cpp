#include "platform/linux/codesign/CertificateChain.h"

#include <openssl/objects.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "platform/linux/codesign/OpenSSLHolders.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

/// Whether the OID lies under 1.2.840.113635.100.{6, 11, 12, 13, 15}, whose extensions mark what Apple issued a
/// certificate for. They say nothing that could make a chain less valid.
bool isUnderAppleArc(const ASN1_OBJECT* identifier) {
  static constexpr std::uint8_t appleArc[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x63, 0x64};
  static constexpr std::uint8_t knownArcs[] = {6, 11, 12, 13, 15};
  const ByteView bytes(OBJ_get0_data(identifier), OBJ_length(identifier));
  return bytes.size() > std::size(appleArc) && std::ranges::equal(bytes.first(std::size(appleArc)), appleArc) &&
         std::ranges::find(knownArcs, bytes[std::size(appleArc)]) != std::end(knownArcs);
}

bool knowsCriticalExtensions(const X509* certificate) {
  for (int i = 0; i < X509_get_ext_count(certificate); ++i) {
    X509_EXTENSION* const extension = X509_get_ext(certificate, i);
    if (X509_EXTENSION_get_critical(extension) == 0 || X509_supported_extension(extension) == 1) continue;
    if (!isUnderAppleArc(X509_EXTENSION_get_object(extension))) return false;
  }
  return true;
}

/// OpenSSL's question whether an error is one. Called from C: must not throw.
int overruleError(int isFine, X509_STORE_CTX* verification) noexcept {
  if (isFine == 1) return 1;
  const auto* const policy = static_cast<const ChainPolicy*>(X509_STORE_CTX_get_app_data(verification));
  const int error = X509_STORE_CTX_get_error(verification);
  const bool isTime = error == X509_V_ERR_CERT_NOT_YET_VALID || error == X509_V_ERR_CERT_HAS_EXPIRED;
  const bool isKnown = error == X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION &&
                       knowsCriticalExtensions(X509_STORE_CTX_get_current_cert(verification));
  if (!isKnown && !(isTime && policy->acceptsOutdated)) return 0;
  X509_STORE_CTX_set_error(verification, X509_V_OK);
  return 1;
}

BorrowedCertificates listOf(std::span<const Certificate> certificates) {
  BorrowedCertificates list(sk_X509_new_null());
  require(list != nullptr, "there is memory");
  for (const Certificate& certificate : certificates)
    require(sk_X509_push(list.get(), certificate.get()) > 0, "there is memory");
  return list;
}

BorrowedCertificates trustedRoots(std::span<const Certificate> embedded, const ChainPolicy& policy) {
  std::vector<Certificate> roots(policy.roots.begin(), policy.roots.end());
  roots.insert(roots.end(), embedded.begin(), embedded.end());
  // Its name being its issuer's is not enough: the signature is verified too.
  std::erase_if(roots, [](const Certificate& root) { return X509_self_signed(root.get(), 1) != 1; });
  return listOf(roots);
}

std::vector<Certificate> builtChain(const Certificate& leaf, std::span<const Certificate> embedded,
                                    const ChainPolicy& policy) {
  const BorrowedCertificates untrusted = listOf(embedded);
  const BorrowedCertificates roots = trustedRoots(embedded, policy);
  const VerificationHolder verification(X509_STORE_CTX_new());
  require(verification && X509_STORE_CTX_init(verification.get(), nullptr, leaf.get(), untrusted.get()) == 1,
          "the verification of a chain begins");
  X509_STORE_CTX_set0_trusted_stack(verification.get(), roots.get());
  X509_STORE_CTX_set_verify_cb(verification.get(), overruleError);
  X509_STORE_CTX_set_app_data(verification.get(), const_cast<ChainPolicy*>(&policy));
  X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(verification.get());
  X509_VERIFY_PARAM_set_time(parameters, std::chrono::system_clock::to_time_t(policy.time));
  const bool isTimeStamping = policy.purpose == ChainPurpose::timeStamping;
  require(
      X509_VERIFY_PARAM_set_purpose(parameters, isTimeStamping ? X509_PURPOSE_TIMESTAMP_SIGN : X509_PURPOSE_ANY) == 1,
      "the purpose of a chain is known");
  require(X509_verify_cert(verification.get()) == 1, "a chain leads from the leaf to a root and is valid");
  const OwnedCertificates chain(X509_STORE_CTX_get1_chain(verification.get()));
  std::vector<Certificate> certificates;
  certificates.reserve(static_cast<std::size_t>(sk_X509_num(chain.get())));
  for (int i = 0; i < sk_X509_num(chain.get()); ++i) certificates.emplace_back(sk_X509_value(chain.get(), i));
  return certificates;
}

/// RSA of at least 1,024 bits or an elliptic curve of at least 160.
void requireStrongKey(X509* certificate) {
  EVP_PKEY* const key = X509_get0_pubkey(certificate);
  require(key != nullptr, "the key of a certificate can be used");
  const bool isRSA = EVP_PKEY_is_a(key, "RSA") == 1;
  require(isRSA || EVP_PKEY_is_a(key, "EC") == 1, "the key of a certificate is one for RSA or ECDSA");
  require(EVP_PKEY_get_bits(key) >= (isRSA ? 1024 : 160), "the key of a certificate is strong");
}

/// MD2, MD4 and MD5 are what the platform refuses; whatever else is not of the SHA families has no use here.
void requireStrongDigest(X509* certificate) {
  static constexpr int digests[] = {NID_sha1, NID_sha224, NID_sha256, NID_sha384, NID_sha512};
  int digest = NID_undef;
  require(X509_get_signature_info(certificate, &digest, nullptr, nullptr, nullptr) == 1,
          "the signature of a certificate is of a known kind");
  require(std::ranges::find(digests, digest) != std::end(digests),
          "the signature of a certificate has a strong digest");
}

bool hasFlag(X509* certificate, std::uint32_t flag) { return (X509_get_extension_flags(certificate) & flag) != 0; }

void requireIssuer(X509* certificate, ChainPurpose purpose) {
  require(X509_check_ca(certificate) == 1, "an issuer is a certification authority");
  require((X509_get_key_usage(certificate) & KU_KEY_CERT_SIGN) != 0, "an issuer may sign certificates");
  if (purpose == ChainPurpose::anything || !hasFlag(certificate, EXFLAG_XKUSAGE)) return;
  const std::uint32_t needed = purpose == ChainPurpose::codeSigning ? XKU_CODE_SIGN : XKU_TIMESTAMP;
  require((X509_get_extended_key_usage(certificate) & (needed | XKU_ANYEKU)) != 0,
          "an issuer that names extended key usages names this one");
}

void requireLeaf(X509* certificate, ChainPurpose purpose) {
  require((X509_get_key_usage(certificate) & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) != 0,
          "the leaf may sign data");
  if (purpose != ChainPurpose::codeSigning) return;
  require(hasFlag(certificate, EXFLAG_KUSAGE), "the leaf names its key usages");
  require(hasFlag(certificate, EXFLAG_XKUSAGE) && (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) != 0,
          "the leaf may sign code");
}

}  // namespace

CertificateChain certificateChain(const Certificate& leaf, std::span<const Certificate> embedded,
                                  const ChainPolicy& policy, const std::set<SHA256Digest>& anchors) {
  const ErrorQueueScope errors;
  CertificateChain chain{builtChain(leaf, embedded, policy), false};
  const std::vector<Certificate>& certificates = chain.certificates;
  requireLeaf(certificates.front().get(), policy.purpose);
  for (const Certificate& certificate : certificates) requireStrongKey(certificate.get());
  for (const Certificate& issued : std::span(certificates).first(certificates.size() - 1))
    requireStrongDigest(issued.get());
  for (const Certificate& issuer : std::span(certificates).subspan(1)) requireIssuer(issuer.get(), policy.purpose);
  chain.isAnchored = anchors.contains(certificates.back().fingerprint());
  return chain;
}

}  // namespace brindlewick::codesign
