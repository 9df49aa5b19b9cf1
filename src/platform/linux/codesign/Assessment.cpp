#include "platform/linux/codesign/Assessment.h"

#include <algorithm>
#include <exception>

#include "platform/linux/codesign/BundleLayout.h"
#include "platform/linux/codesign/CodeValidation.h"
#include "platform/linux/codesign/NotarizationTicket.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick {
namespace {

using namespace codesign;

constexpr std::string_view developerIDRequirement =
    "anchor apple generic and certificate 1[field.1.2.840.113635.100.6.2.6] exists"
    " and certificate leaf[field.1.2.840.113635.100.6.1.13] exists";

bool isDeveloperID(const ValidatedCode& code) {
  const auto requirement = Requirement::compile(developerIDRequirement);
  return requirement && code.meets(*requirement);
}

/// Code hashes are all that a ticket names, so that each architecture and each nested item must be among them.
bool isNotarized(const Folder& application, const ValidatedCode& code, const CodeSigningTrust& trust) try {
  const Bytes ticket = application.folder("Contents").content(ticketName, maximumBundleFileByteCount);
  const std::set<CDHash> named = verifyNotarizationTicket(ticket, trust);
  const auto isNamed = [&](const CDHash& hash) { return named.contains(hash); };
  return std::ranges::all_of(code.slices, isNamed, &SliceIdentity::codeHash) &&
         std::ranges::all_of(code.nestedCodeHashes, isNamed);
} catch (const std::exception&) {
  return false;
}

}  // namespace

Assessment assess(const Path& path, const CodeSigningTrust& trust) try {
  const auto item = openCode(path);
  const auto* application = std::get_if<Folder>(&item);
  if (application == nullptr) return {false, "not an application"};
  const CodeValidation validation(trust, NestedCodeDepth::deep);
  const ValidatedCode code = validation.bundle(application->folder("."), path.lastComponent());
  if (!code.isApplication) return {false, "not an application"};
  if (!isDeveloperID(code)) return {false, "no Developer ID"};
  if (!isNotarized(*application, code, trust)) return {false, "Unnotarized Developer ID"};
  return {true, "Notarized Developer ID"};
} catch (const std::exception&) {
  return {false, "no usable signature"};
}

}  // namespace brindlewick
