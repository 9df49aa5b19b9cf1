#include "unit/codesign/MessageWorld.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <algorithm>

#include "platform/linux/codesign/Refusal.h"
#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing {

void MessageWorld::sign() {
  pki_ = TestPKI::issued(certificates);
  directories.clear();
  std::vector<ListedDirectory> listed;
  for (const std::uint8_t hashType : hashTypes) {
    const std::string text = "a directory of hash type " + std::to_string(hashType);
    directories.emplace_back(text.begin(), text.end());
    listed.push_back({hashType, digestOfDirectory(directories.size() - 1)});
  }
  std::ranges::sort(listed, {}, &ListedDirectory::hashType);
  bytes = signedMessage(message, directories.front(), listed, *pki_);
}

Bytes MessageWorld::digestOfDirectory(std::size_t n) const {
  const std::uint8_t hashType = hashTypes.at(n);
  return digestOf(directories.at(n), hashType == 1 ? "sha1" : hashType == 4 ? "sha384" : "sha256");
}

void MessageWorld::flipAt(ByteView needle, std::size_t offset) { bytes.at(positionOf(bytes, needle) + offset) ^= 1; }

CodeSigningTrust MessageWorld::trust() const {
  SHA256Digest root{};
  std::ranges::copy(digestOf(pki().root.certificate, "sha256"), root.begin());
  return {{root}, [time = now] { return time; }, {}};
}

codesign::Signer MessageWorld::verify() const {
  std::vector<codesign::CoveredDirectory> covered;
  for (std::size_t i = 0; i < directories.size(); ++i)
    covered.push_back({codesign::hashTypeOf(hashTypes[i]).value(), directories[i]});
  return codesign::verifySignedMessage(bytes, covered, rules, trust());
}

std::string MessageWorld::brokenRule() const {
  std::string rule;
  try {
    EXPECT_FALSE(verify().chain.empty());
  } catch (const codesign::Refusal& refusal) {
    rule = refusal.what();
  }
  EXPECT_EQ(ERR_peek_error(), 0U) << "an error is left behind";
  return rule;
}

void judge(const MessageCase& messageCase) {
  MessageWorld world;
  messageCase.change(world);
  if (world.bytes.empty()) world.sign();
  if (messageCase.twin) {
    EXPECT_EQ(world.brokenRule(), "");
    messageCase.twin(world);
  }
  EXPECT_EQ(world.brokenRule(), messageCase.rule);
}

std::function<void(MessageWorld&)> message(void (*change)(MessageShape&)) {
  return [change](MessageWorld& world) { change(world.message); };
}

std::function<void(MessageWorld&)> attributes(void (*change)(std::vector<Bytes>&)) {
  return [change](MessageWorld& world) { world.message.editAttributes = change; };
}

Bytes attribute(std::string_view oid, const std::vector<Bytes>& values) {
  return der::sequence({der::oid(oid), der::set(values)});
}

Bytes removeAttribute(std::vector<Bytes>& attributes, std::string_view oid) {
  const Bytes identifier = der::oid(oid);
  const auto found = std::ranges::find_if(attributes, [&](const Bytes& element) {
    return std::search(element.begin(), element.end(), identifier.begin(), identifier.end()) != element.end();
  });
  Bytes element = *found;
  attributes.erase(found);
  return element;
}

void flipDirectory(MessageWorld& world) { world.directories.front().back() ^= 1; }

void flipSignature(MessageWorld& world) { world.bytes.back() ^= 1; }

}  // namespace brindlewick::testing
