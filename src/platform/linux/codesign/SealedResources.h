#pragma once

#include <functional>
#include <span>
#include <string>

#include "platform/linux/codesign/BundleLayout.h"
#include "platform/linux/codesign/CodeHash.h"

namespace brindlewick::codesign {

/// Judges the code `name` in `parent` under the text of a requirement; throws Refusal if it does not hold.
using NestedCodeCheck =
    std::function<void(const Folder& parent, const std::string& name, const std::string& requirement)>;

struct SealRules {
  PropertyListBudget& budget;           ///< the parsed envelope's share of it is taken until everything is compared
  std::span<const HashType> hashTypes;  ///< of all directories of the main executable; each must agree
  NestedCodeCheck checkNestedCode;
  /// Links must stay inside the bundle or lead to the system: an assessment asks for it, a validity does not.
  bool confinesLinks = false;
};

/// Compares everything below the base of a bundle with its resource envelope, version 2 ("files2"): what is there is
/// sealed and unchanged, what is sealed is there. `envelope` is the content of CodeResources. Each file is read once;
/// no link is followed. Throws Refusal, or PlatformError for what cannot be read.
void verifySealedResources(const BundleLayout& bundle, ByteView envelope, const SealRules& rules);

}  // namespace brindlewick::codesign
