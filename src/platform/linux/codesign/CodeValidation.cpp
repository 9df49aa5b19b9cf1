#include "platform/linux/codesign/CodeValidation.h"

#include <algorithm>
#include <utility>

#include "platform/linux/codesign/BundleLayout.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/SealedResources.h"

namespace brindlewick::codesign {
namespace {

/// Bundles inside bundles: real ones have three or four levels.
constexpr int maximumNesting = 16;

bool saysApplication(const PropertyListTree& information) {
  const PropertyListNode* type = find(information, "CFBundlePackageType");
  const auto* text = type == nullptr ? nullptr : type->as<std::string>();
  return text != nullptr && *text == "APPL";
}

}  // namespace

bool ValidatedCode::meets(const Requirement& requirement) const {
  return std::ranges::all_of(slices, [&](const SliceIdentity& slice) { return requirement.isMetBy(slice.subject()); });
}

/// How much of an item is read, how deep it lies, and what its property lists may take.
struct CodeValidation::Extent {
  PropertyListBudget& budget;
  bool readsEverything = true;
  int nesting = 0;
};

ValidatedCode CodeValidation::bundle(Folder folder, std::string_view name) const {
  PropertyListBudget budget;
  return bundle(std::move(folder), name, Extent{budget});
}

ValidatedCode CodeValidation::file(ByteSource& source) const {
  PropertyListBudget budget;
  return file(source, Extent{budget});
}

ValidatedCode CodeValidation::bundle(Folder folder, std::string_view name, const Extent& extent) const {
  ValidatedCode code;
  bool isCurrent = true;
  forEachBundleLayout(std::move(folder), name, extent.budget, [&](const BundleLayout& layout) {
    addLayout(code, layout, extent);
    if (std::exchange(isCurrent, false)) code.isApplication = saysApplication(layout.information);
  });
  return code;
}

ValidatedCode CodeValidation::file(ByteSource& source, const Extent& extent) const {
  ValidatedCode code;
  code.slices = verifySlices(source, {.trust = trust_, .readsPages = extent.readsEverything});
  return code;
}

void CodeValidation::addLayout(ValidatedCode& code, const BundleLayout& layout, const Extent& extent) const {
  FileSource executable = layout.base.file(layout.executablePath);
  BundleParts parts{SealedContent(layout.informationBytes), std::nullopt};
  Bytes envelope;
  if (extent.readsEverything) {
    envelope = layout.base.content(sealPath, std::min(maximumBundleFileByteCount, extent.budget.bytesLeft()));
    parts.resources.emplace(envelope);
  }
  std::vector<SliceIdentity> slices =
      verifySlices(executable, {.trust = trust_, .readsPages = extent.readsEverything, .bundle = &parts});
  if (extent.readsEverything) {
    const auto checkNestedCode = [&](const Folder& parent, const std::string& name, const std::string& requirement) {
      addNestedCode(code, parent, name, requirement, extent);
    };
    std::vector<HashType> hashTypes;
    for (const SliceIdentity& slice : slices)
      for (const HashType type : slice.hashTypes)
        if (std::ranges::find(hashTypes, type) == hashTypes.end()) hashTypes.push_back(type);
    verifySealedResources(layout, envelope,
                          {extent.budget, hashTypes, checkNestedCode, depth_ == NestedCodeDepth::deep});
  }
  std::ranges::move(slices, std::back_inserter(code.slices));
}

void CodeValidation::addNestedCode(ValidatedCode& code, const Folder& parent, const std::string& name,
                                   const std::string& requirement, const Extent& extent) const {
  require(extent.nesting < maximumNesting, "code is not nested without end");
  const auto compiled = Requirement::compile(requirement);
  require(compiled.has_value(), "the requirement of nested code compiles");
  const Extent inner{extent.budget, depth_ == NestedCodeDepth::deep, extent.nesting + 1};
  const auto status = parent.status(name);
  ValidatedCode nested;
  if (status && status->kind == ItemKind::directory) {
    nested = bundle(parent.folder(name), name, inner);
  } else {
    FileSource source = parent.file(name);
    nested = file(source, inner);
  }
  require(nested.meets(*compiled), "nested code meets the requirement it was sealed with");
  for (const SliceIdentity& slice : nested.slices) code.nestedCodeHashes.push_back(slice.codeHash);
  std::ranges::move(nested.nestedCodeHashes, std::back_inserter(code.nestedCodeHashes));
}

}  // namespace brindlewick::codesign
