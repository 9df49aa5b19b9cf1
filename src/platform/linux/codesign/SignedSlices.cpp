#include "platform/linux/codesign/SignedSlices.h"

#include <algorithm>

#include "platform/linux/codesign/CodePages.h"
#include "platform/linux/codesign/MachO.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

// Markers in certificates of Apple's developers (Apple, "Certification Practice Statement").
constexpr const char* developerIDMarker = "1.2.840.113635.100.6.1.13";
constexpr const char* developerIDAuthorityMarker = "1.2.840.113635.100.6.2.6";
constexpr std::array developerMarkers = {"1.2.840.113635.100.6.1.2", "1.2.840.113635.100.6.1.4",
                                         "1.2.840.113635.100.6.1.7", "1.2.840.113635.100.6.1.12"};

/// Real sections hold a small property list.
constexpr std::uint64_t maximumInformationByteCount = 64 << 20;

bool isDevelopers(const std::vector<Certificate>& chain) {
  const Certificate& leaf = chain.front();
  if (std::ranges::any_of(developerMarkers, [&](const char* marker) { return leaf.hasExtension(marker); })) return true;
  return leaf.hasExtension(developerIDMarker) && chain.size() > 1 && chain[1].hasExtension(developerIDAuthorityMarker);
}

/// Apple writes the team into the certificates of its developers. A directory must not name another one.
void verifyTeam(const CodeDirectory& directory, const Signer& signer) {
  if (!signer.isAnchored || !isDevelopers(signer.chain)) return;
  const auto units = signer.chain.front().subjectValues("OU");
  require(!units.empty() && directory.team && units.front() == *directory.team, "the team is the one of the signer");
}

Signer verifySigner(const EmbeddedSignature& signature, const CodeSigningTrust& trust) {
  if (signature.isAdHoc()) return {};
  std::vector<CoveredDirectory> covered;
  for (const CodeDirectory& directory : signature.directories())
    covered.push_back({directory.hashType, directory.blob});
  const bool expires = (signature.best().flags & expirationFlag) != 0;
  Signer signer = verifySignedMessage(signature.message(), covered, {.expirationIsEnforced = expires}, trust);
  verifyTeam(signature.best(), signer);
  return signer;
}

std::optional<Bytes> informationSection(ByteSource& file, const MachOSlice& slice) {
  if (!slice.informationSection) return std::nullopt;
  const auto [offset, length] = *slice.informationSection;
  require(offset <= slice.signature.offset && length <= slice.signature.offset - offset &&
              length <= maximumInformationByteCount,
          "the section of information lies in signed code");
  return file.read(slice.range.offset + offset, length);
}

void verifySealedParts(ByteSource& file, const MachOSlice& slice, const EmbeddedSignature& signature,
                       BundleParts* bundle) {
  if (bundle != nullptr) {
    verifySpecialSlots(signature, {.isBundle = true,
                                   .information = &bundle->information,
                                   .resources = bundle->resources ? &*bundle->resources : nullptr,
                                   .checksResources = bundle->resources.has_value()});
    return;
  }
  const auto section = informationSection(file, slice);
  SealedContent content(section ? ByteView(*section) : ByteView());
  verifySpecialSlots(signature, {.information = section ? &content : nullptr});
}

SliceIdentity identityOf(const EmbeddedSignature& signature, Signer signer) {
  const CodeDirectory& best = signature.best();
  SliceIdentity identity;
  identity.identifier = best.identifier;
  if (best.team) identity.team = std::string(*best.team);
  identity.codeHash = best.codeHash;
  identity.signer = std::move(signer);
  for (const CodeDirectory& directory : signature.directories()) identity.hashTypes.push_back(directory.hashType);
  return identity;
}

SliceIdentity verifySlice(ByteSource& file, const MachOSlice& slice, const SliceRules& rules) {
  const EmbeddedSignature signature = EmbeddedSignature::read(file, slice);
  Signer signer = verifySigner(signature, rules.trust);
  verifySealedParts(file, slice, signature, rules.bundle);
  // All directories have one limit.
  require(signature.best().codeLimit == slice.signature.offset, "a signature covers everything in front of it");
  if (rules.readsPages) verifyPages(file, slice, signature.directories());
  return identityOf(signature, std::move(signer));
}

}  // namespace

std::vector<SliceIdentity> verifySlices(ByteSource& file, const SliceRules& rules) {
  std::vector<SliceIdentity> identities;
  forEachSlice(file, [&](const MachOSlice& slice) {
    identities.push_back(verifySlice(file, slice, rules));
    require(identities.back().team == identities.front().team, "all architectures have one team");
  });
  return identities;
}

}  // namespace brindlewick::codesign
