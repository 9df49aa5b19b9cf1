#include "platform/linux/codesign/SignedDataParts.h"

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// A code signature carries three certificates, a timestamp token four. Whoever embeds thousands wants each of them to
// be parsed and tried as the issuer of each other one.
constexpr std::size_t maximumCertificateCount = 32;

bool isAt(const ber::Reader& parts, std::uint8_t tag) { return !parts.isAtEnd() && parts.rest().front() == tag; }

/// The parameters of the algorithms that count are NULL or left out.
void requireAlgorithm(const ber::Element& algorithm) {
  ber::Reader parts(algorithm);
  parts.next(ber::objectIdentifier);
  const bool hasNoParameters = parts.isAtEnd() || parts.next(ber::null).content.empty();
  require(hasNoParameters && parts.isAtEnd(), "an algorithm has no parameters");
}

void requireCertificates(const ber::Element& certificates) {
  std::size_t count = 0;
  for (ber::Reader rest(certificates); !rest.isAtEnd(); rest.next(ber::sequence))
    require(++count <= maximumCertificateCount, "a message carries few certificates");
}

/// A Name of X.501: sequence, sets, sequences, each with an identifier and a text.
void requireName(const ber::Element& name) {
  for (ber::Reader parts(name); !parts.isAtEnd();)
    for (ber::Reader set(parts.next(ber::set)); !set.isAtEnd();) {
      ber::Reader attribute(set.next(ber::sequence));
      attribute.next(ber::objectIdentifier);
      attribute.next();
      require(attribute.isAtEnd(), "a part of a name is an identifier and its text");
    }
}

/// Issuer and serial number, or a key identifier.
void requireSignerIdentifier(const ber::Element& signer) {
  if (signer.tag == ber::primitiveContext(0)) return;
  require(signer.tag == ber::sequence, "a signer is named by its certificate");
  ber::Reader parts(signer);
  requireName(parts.next(ber::sequence));
  parts.next(ber::integer);
  require(parts.isAtEnd(), "a certificate is named by its issuer and its number");
}

SignedDataParts readSigner(const ber::Element& signer) {
  SignedDataParts found;
  ber::Reader parts(signer);
  parts.next(ber::integer);  // the version
  requireSignerIdentifier(parts.next());
  requireAlgorithm(parts.next(ber::sequence));  // of the digest
  found.attributes = parts.next(ber::context(0));
  requireAlgorithm(parts.next(ber::sequence));  // of the signature
  parts.next(ber::octetString);
  if (!parts.isAtEnd()) found.unsignedAttributes = parts.next(ber::context(1));
  require(parts.isAtEnd(), "nothing follows the unsigned attributes");
  return found;
}

}  // namespace

SignedDataParts readSignedDataParts(const ber::Element& message) {
  ber::Reader contentInfo(message);
  contentInfo.next(ber::objectIdentifier);
  ber::Reader parts(ber::only(contentInfo.next(ber::context(0)).content, ber::sequence));
  parts.next(ber::integer);  // the version
  for (ber::Reader digests(parts.next(ber::set)); !digests.isAtEnd();) requireAlgorithm(digests.next(ber::sequence));
  parts.next(ber::sequence);  // the content, which the decoder asks for its tags
  if (isAt(parts, ber::context(0))) requireCertificates(parts.next());
  if (isAt(parts, ber::context(1))) parts.next();  // revocation lists, which nobody reads
  const ber::Element signers = parts.next(ber::set);
  require(parts.isAtEnd() && contentInfo.isAtEnd(), "the signers come last");
  return readSigner(ber::only(signers.content, ber::sequence));
}

}  // namespace brindlewick::codesign
