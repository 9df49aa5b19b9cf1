#include "support/codesign/SignedMessage.h"

#include <algorithm>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/PropertyListText.h"

namespace brindlewick::testing {
namespace {

using der::Length;

constexpr const char* signedData = "1.2.840.113549.1.7.2";
constexpr const char* timestampInformation = "1.2.840.113549.1.9.16.1.4";
constexpr const char* timestampToken = "1.2.840.113549.1.9.16.2.14";
constexpr const char* contentTypeAttribute = "1.2.840.113549.1.9.3";
constexpr const char* messageDigestAttribute = "1.2.840.113549.1.9.4";
constexpr const char* signingTimeAttribute = "1.2.840.113549.1.9.5";
constexpr const char* codeHashesAttribute = "1.2.840.113635.100.9.1";
constexpr const char* digestsAttribute = "1.2.840.113635.100.9.2";

const char* digestIdentifier(std::string_view digest) {
  if (digest == "sha1") return "1.3.14.3.2.26";
  return digest == "sha384" ? "2.16.840.1.101.3.4.2.2" : "2.16.840.1.101.3.4.2.1";
}

const char* digestIdentifier(std::uint8_t hashType) {
  return digestIdentifier(hashType == 1 ? "sha1" : hashType == 4 ? "sha384" : "sha256");
}

Bytes attribute(std::string_view oid, const std::vector<Bytes>& values) {
  return der::sequence({der::oid(oid), der::set(values)});
}

/// The parts of a SignedData that code signatures and timestamp tokens have in common.
struct Envelope {
  const Identity* signer;
  std::vector<Bytes> certificates;
  std::string digest;
  std::string contentType;
  std::optional<Bytes> content;  ///< embedded
  std::vector<Bytes> attributes;
  std::vector<Bytes> unsignedAttributes;
  std::size_t signerCount = 1;
  Length outerLengths = Length::definite;
  std::optional<std::string> signatureAlgorithm = std::nullopt;
};

Bytes signatureOver(const Envelope& envelope, ByteView detachedContent) {
  if (envelope.attributes.empty()) return envelope.signer->key.sign(detachedContent, envelope.digest);
  return envelope.signer->key.sign(der::set(envelope.attributes), envelope.digest);
}

Bytes signerInfo(const Envelope& envelope, const Bytes& signature) {
  const Identity& signer = *envelope.signer;
  std::vector<Bytes> parts = {der::integer(1), der::sequence({signer.issuerName, signer.serialNumber}),
                              der::algorithm(digestIdentifier(envelope.digest))};
  if (!envelope.attributes.empty()) parts.push_back(der::context(0, der::join(envelope.attributes)));
  parts.push_back(envelope.signatureAlgorithm ? der::sequence({der::oid(*envelope.signatureAlgorithm)})
                                              : signer.key.signatureAlgorithm(envelope.digest));
  parts.push_back(der::octets(signature));
  if (!envelope.unsignedAttributes.empty()) parts.push_back(der::context(1, der::join(envelope.unsignedAttributes)));
  return der::sequence(parts);
}

Bytes contentInfo(const Envelope& envelope, const Bytes& signature) {
  const Length lengths = envelope.outerLengths;
  std::vector<Bytes> content = {der::oid(envelope.contentType)};
  if (envelope.content) content.push_back(der::context(0, der::octets(*envelope.content)));
  const std::vector<Bytes> signers(envelope.signerCount, signerInfo(envelope, signature));
  const Bytes data =
      der::sequence({der::integer(envelope.contentType == timestampInformation ? 3 : 1),
                     der::set({der::algorithm(digestIdentifier(envelope.digest))}), der::sequence(content, lengths),
                     der::context(0, der::join(envelope.certificates)), der::set(signers)},
                    lengths);
  return der::sequence({der::oid(signedData), der::context(0, data, lengths)}, lengths);
}

Bytes timestampOver(const TimestampShape& shape, ByteView signature, const TestPKI& codePKI) {
  const TestPKI& pki = shape.pki ? *shape.pki : codePKI;
  Bytes imprint = digestOf(signature, shape.imprintDigest);
  if (shape.spoilImprint) imprint.front() ^= 1;
  const Bytes information =
      der::sequence({der::integer(shape.version), der::oid("1.2.3.4.1"),
                     der::sequence({der::algorithm(digestIdentifier(shape.imprintDigest)), der::octets(imprint)}),
                     der::integer(4711), der::generalizedTime(shape.time)});
  Envelope token{&pki.timestampLeaf,
                 {pki.timestampLeaf.certificate, pki.timestampAuthority.certificate, pki.root.certificate},
                 shape.digest,
                 timestampInformation,
                 information,
                 der::sorted({attribute(contentTypeAttribute, {der::oid(timestampInformation)}),
                              attribute(signingTimeAttribute, {der::utcTime(shape.time)}),
                              attribute(messageDigestAttribute, {der::octets(digestOf(information, shape.digest))})}),
                 {}};
  return contentInfo(token, signatureOver(token, {}));
}

Bytes codeHashesValue(const std::vector<ListedDirectory>& directories, const MessageShape& shape) {
  std::vector<Bytes> hashes;
  for (const ListedDirectory& directory : directories)
    hashes.emplace_back(directory.digest.begin(), directory.digest.begin() + 20);
  if (shape.editCodeHashes) shape.editCodeHashes(hashes);
  std::string items;
  for (const Bytes& hash : hashes) items += plist::data(hash);
  return der::octets(asBytes(plist::document(plist::dictionary({{"cdhashes", plist::array(items)}}))));
}

std::vector<Bytes> digestValues(const std::vector<ListedDirectory>& directories, const MessageShape& shape) {
  std::vector<Bytes> values;
  for (const ListedDirectory& directory : directories)
    values.push_back(der::sequence({der::oid(digestIdentifier(directory.hashType)), der::octets(directory.digest)}));
  values = der::sorted(values);
  if (!shape.digestsInDEROrder) std::reverse(values.begin(), values.end());
  if (shape.editDigests) shape.editDigests(values);
  return values;
}

std::vector<Bytes> signedAttributes(const MessageShape& shape, ByteView content,
                                    const std::vector<ListedDirectory>& directories) {
  if (!shape.hasAttributes) return {};
  std::vector<Bytes> attributes = {attribute(contentTypeAttribute, {der::oid(shape.contentType)}),
                                   attribute(messageDigestAttribute, {der::octets(digestOf(content, shape.digest))})};
  if (shape.signingTime) attributes.push_back(attribute(signingTimeAttribute, {der::utcTime(*shape.signingTime)}));
  if (shape.listsCodeHashes)
    attributes.push_back(attribute(codeHashesAttribute, {codeHashesValue(directories, shape)}));
  if (shape.listsDigests) attributes.push_back(attribute(digestsAttribute, digestValues(directories, shape)));
  attributes = der::sorted(attributes);
  if (shape.editAttributes) shape.editAttributes(attributes);
  return attributes;
}

}  // namespace

Bytes signedMessage(const MessageShape& shape, ByteView content, const std::vector<ListedDirectory>& directories,
                    const TestPKI& defaultPKI) {
  const TestPKI& pki = shape.pki ? *shape.pki : defaultPKI;
  Envelope envelope{&pki.leaf, {}, shape.digest,      shape.contentType, std::nullopt,
                    {},        {}, shape.signerCount, shape.outerLengths};
  envelope.signatureAlgorithm = shape.signatureAlgorithm;
  envelope.certificates = shape.furtherCertificates;
  // The signer's own tools write the leaf last.
  if (shape.embedsIntermediate) envelope.certificates.push_back(pki.intermediate.certificate);
  if (shape.embedsRoot) envelope.certificates.push_back(pki.root.certificate);
  envelope.certificates.push_back(pki.leaf.certificate);
  if (shape.embedsContent) envelope.content = Bytes(content.begin(), content.end());
  envelope.attributes = signedAttributes(shape, content, directories);
  const Bytes signature = signatureOver(envelope, content);
  if (shape.unsignedAttribute)
    envelope.unsignedAttributes = {*shape.unsignedAttribute};
  else if (shape.timestamp)
    envelope.unsignedAttributes = {attribute(timestampToken, {timestampOver(*shape.timestamp, signature, pki)})};
  Bytes message = contentInfo(envelope, signature);
  if (shape.spoil) shape.spoil(message);
  return message;
}

}  // namespace brindlewick::testing
