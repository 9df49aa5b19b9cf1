#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/linux/codesign/Folder.h"
#include "platform/linux/codesign/PropertyListBudget.h"

namespace brindlewick::codesign {

/// One code bundle as it lies on disk. Paths are relative to `base`.
struct BundleLayout {
  Folder base;  ///< the root of all sealed paths: Contents, a version of a framework, or the bundle itself
  std::string executablePath;
  Bytes informationBytes;        ///< Info.plist, read once
  PropertyListTree information;  ///< the same, parsed
  PropertyListBudget::Share informationShare;
  bool isFlat = false;  ///< neither Contents nor Versions
};

/// Finds the parts of a bundle and checks its layout by the strict rules: nothing in its root and its _CodeSignature
/// that the signature does not cover, Info.plist and the main executable regular files at their places, no store
/// receipt, a ticket only as a file, no second value of a key that is read, and nothing that makes a flat bundle one of
/// another form. `name` is the bundle's own, for those that do not name their executable.
///
/// Calls `judge` with the bundle and then, for a framework with versions, with each version beside the current one. One
/// is read when the one before is judged and gone: there may be thousands, each with a property list of megabytes. What
/// their lists take comes out of `budget` and is given back with the layout.
///
/// Throws Refusal, or PlatformError for what cannot be read.
void forEachBundleLayout(Folder bundle, std::string_view name, PropertyListBudget& budget,
                         const std::function<void(BundleLayout)>& judge);

/// What an Info.plist, a CodeResources or a ticket may hold. Those of large applications have a few MiB.
inline constexpr std::uint64_t maximumBundleFileByteCount = 32 << 20;

inline constexpr std::string_view signatureFolderName = "_CodeSignature";
inline constexpr std::string_view sealPath = "_CodeSignature/CodeResources";
inline constexpr std::string_view ticketName = "CodeResources";
inline constexpr std::string_view storeReceiptName = "_MASReceipt";

}  // namespace brindlewick::codesign
