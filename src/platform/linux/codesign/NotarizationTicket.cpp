#include "platform/linux/codesign/NotarizationTicket.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/codesign/BER.h"
#include "platform/linux/codesign/ByteFields.h"
#include "platform/linux/codesign/Certificate.h"
#include "platform/linux/codesign/CertificateChain.h"
#include "platform/linux/codesign/OpenSSLHolders.h"

namespace brindlewick::codesign {
namespace {

constexpr std::uint64_t headerByteCount = 16;
constexpr std::uint64_t signatureFieldByteCount = 72;
constexpr std::uint64_t payloadHeaderByteCount = 24;
constexpr std::uint64_t entryByteCount = 21;
constexpr std::uint32_t maximumEntryCount = 1'000'000;
constexpr std::size_t maximumCertificateCount = 8;
// In the year 2242. Above it the system's clock would overflow some decades later.
constexpr std::uint64_t maximumTime = std::uint64_t{1} << 33;

constexpr const char* ticketSigningMarker = "1.2.840.113635.100.6.1.30";
constexpr const char* ticketAuthorityMarker = "1.2.840.113635.100.6.2.17";

/// The file's parts. What is signed is everything before the signature.
struct TicketFile {
  ByteView certificates, payload, isSigned, signature;
};

TicketFile dividedTicket(ByteView ticket) {
  require(asText(range(ticket, 0, 4)) == "s8ch", "a ticket begins with its magic");
  require(little32(ticket, 4) == 1, "a ticket has version 1");
  const std::uint64_t certificatesByteCount = little32(ticket, 8);
  const std::uint64_t payloadByteCount = little32(ticket, 12);
  const std::uint64_t signedByteCount = headerByteCount + certificatesByteCount + payloadByteCount;
  require(ticket.size() == signedByteCount + signatureFieldByteCount, "a ticket ends behind its signature");
  return {range(ticket, headerByteCount, certificatesByteCount),
          range(ticket, headerByteCount + certificatesByteCount, payloadByteCount), range(ticket, 0, signedByteCount),
          rest(ticket, signedByteCount)};
}

/// One SEQUENCE OF Certificate, leaf first.
std::vector<Certificate> certificatesIn(ByteView der) {
  std::vector<Certificate> certificates;
  for (ber::Reader list(ber::only(der, ber::sequence)); !list.isAtEnd();) {
    const auto certificate = Certificate::fromDER(list.next(ber::sequence).encoding);
    require(certificate.has_value(), "a ticket holds certificates");
    certificates.push_back(*certificate);
    require(certificates.size() <= maximumCertificateCount, "a ticket holds few certificates");
  }
  require(!certificates.empty(), "a ticket holds the certificate of its signer");
  return certificates;
}

/// The field without its padding. Whatever else stood behind the signature would be covered by nothing.
ByteView signatureIn(ByteView field) {
  const ByteView signature = range(field, 0, 2 + std::uint64_t{byteAt(field, 1)});
  require(std::ranges::all_of(field.subspan(signature.size()), [](std::uint8_t byte) { return byte == 0; }),
          "a ticket's signature is padded with zeros");
  return signature;
}

/// ECDSA on P-256 with SHA-256. OpenSSL takes a signature in DER only.
void verifySignature(const TicketFile& file, const Certificate& leaf) {
  EVP_PKEY* const key = X509_get0_pubkey(leaf.get());
  char group[16] = {};
  require(key != nullptr && EVP_PKEY_is_a(key, "EC") == 1 &&
              EVP_PKEY_get_group_name(key, group, sizeof group, nullptr) == 1 &&
              std::string_view(group) == "prime256v1",
          "a ticket is signed with a key on P-256");
  const ByteView signature = signatureIn(file.signature);
  const DigestContextHolder context(EVP_MD_CTX_new());
  require(context != nullptr && EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key) == 1 &&
              EVP_DigestVerify(context.get(), signature.data(), signature.size(), file.isSigned.data(),
                               file.isSigned.size()) == 1,
          "a ticket's signature is right");
}

std::chrono::system_clock::time_point timeOf(ByteView payload) {
  const std::uint64_t seconds = little64(payload, 16);
  require(seconds <= maximumTime, "a ticket's time can be told");
  return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
}

void checkPayload(ByteView payload) {
  require(asText(range(payload, 0, 4)) == "g8tk", "a ticket's payload begins with its magic");
  require(little16(payload, 4) == 2, "a ticket's payload has version 2");
  require(little16(payload, 6) == CDHash().size(), "a ticket lists code hashes of 20 bytes");
  const std::uint32_t count = little32(payload, 8);
  require(count > 0 && count <= maximumEntryCount, "a ticket lists code");
  const std::uint32_t flags = little32(payload, 12);
  require(flags == 0 || flags == 2, "a ticket's flags are known");
  require(payload.size() == payloadHeaderByteCount + entryByteCount * count, "a ticket's payload ends behind its list");
}

std::vector<Certificate> anchoredRoots(const CodeSigningTrust& trust) {
  std::vector<Certificate> roots;
  for (const Bytes& der : trust.ticketRoots) {
    const auto root = Certificate::fromDER(der);
    if (root && trust.anchors.contains(root->fingerprint())) roots.push_back(*root);
  }
  return roots;
}

/// Apple's tickets leave their root out. One that carries it is as good: only an anchor counts, wherever it came from.
/// The marks are asked of the chain as it was built and not of what the file holds: any certificate may lie there.
void verifyChain(std::span<const Certificate> certificates, std::chrono::system_clock::time_point time,
                 const CodeSigningTrust& trust) {
  const auto roots = anchoredRoots(trust);
  const ChainPolicy policy{.purpose = ChainPurpose::anything, .time = time, .roots = roots};
  const CertificateChain chain = certificateChain(certificates.front(), certificates.subspan(1), policy, trust.anchors);
  require(chain.isAnchored, "a ticket's chain ends in an anchor");
  require(chain.certificates.size() == 3, "a ticket's chain is its signer, the authority and the root");
  require(chain.certificates[0].hasExtension(ticketSigningMarker), "a ticket's signer is marked as one");
  require(chain.certificates[1].hasExtension(ticketAuthorityMarker), "a ticket's authority is marked as one");
}

/// Entries of every hash type count, that of a flat package's checksum included, which no code hash will ever equal.
std::set<CDHash> codeHashesIn(ByteView payload) {
  std::set<CDHash> hashes;
  for (std::uint64_t at = payloadHeaderByteCount; at < payload.size(); at += entryByteCount) {
    CDHash hash{};
    std::ranges::copy(range(payload, at + 1, hash.size()), hash.begin());
    hashes.insert(hash);
  }
  return hashes;
}

}  // namespace

std::set<CDHash> verifyNotarizationTicket(ByteView ticket, const CodeSigningTrust& trust) {
  const ErrorQueueScope errors;
  const TicketFile file = dividedTicket(ticket);
  checkPayload(file.payload);
  const auto certificates = certificatesIn(file.certificates);
  verifySignature(file, certificates.front());
  verifyChain(certificates, timeOf(file.payload), trust);
  return codeHashesIn(file.payload);
}

}  // namespace brindlewick::codesign
