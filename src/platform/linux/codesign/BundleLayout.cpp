#include "platform/linux/codesign/BundleLayout.h"

#include <algorithm>
#include <array>

#include "platform/AsciiText.h"
#include "platform/linux/codesign/FrameworkVersions.h"
#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

/// The files that the Finder keeps in the root of a bundle.
constexpr std::array<std::string_view, 4> rootFiles = {".LSOverride", ".DS_Store", "Icon\r", ".SoftwareDepot.tracking"};

void checkApplicationRoot(const Folder& bundle) {
  for (const FolderItem& item : bundle.items()) {
    if (item.name == "Contents") continue;
    const bool isKnown = std::ranges::find(rootFiles, item.name) != rootFiles.end();
    require(isKnown && isPlainFile(bundle, item.name), "nothing unsealed lies in the root of a bundle");
  }
}

/// By these names the platform takes a bundle for one of another form, with its parts elsewhere. Its file systems
/// ignore case.
constexpr std::array<std::string_view, 4> namesOfOtherForms = {"contents", "versions", "support files",
                                                               "wrappedbundle"};

/// Where the oldest form of a bundle has its property list.
bool holdsPropertyList(const Folder& resources) {
  return std::ranges::any_of(resources.items(),
                             [](const FolderItem& item) { return asciiLowercase(item.name) == "info.plist"; });
}

void checkFlatRoot(const Folder& bundle) {
  constexpr const char* rule = "a flat bundle has no part of another form";
  for (const FolderItem& item : bundle.items()) {
    const std::string name = asciiLowercase(item.name);
    require(std::ranges::find(namesOfOtherForms, name) == namesOfOtherForms.end(), rule);
    if (name == "resources" && item.kind == ItemKind::directory)
      require(!holdsPropertyList(bundle.folder(item.name)), rule);
  }
}

/// Parts of a signature as files belong to code that is no Mach-O file; beside an embedded signature they are wrong.
void checkSignatureFolder(const Folder& base) {
  if (!base.status(signatureFolderName)) return;
  const Folder folder = base.folder(signatureFolderName);
  for (const FolderItem& item : folder.items()) {
    require(item.kind == ItemKind::file, "_CodeSignature holds only files");
    const bool isEmptySignature = item.name == "CodeSignature" && folder.file(item.name).size() == 0;
    require(item.name == "CodeResources" || isEmptySignature, "_CodeSignature holds only CodeResources");
  }
}

void checkBase(const Folder& base) {
  checkSignatureFolder(base);
  require(!base.status("Info-macos.plist"), "there is one Info.plist");
  require(!base.status(storeReceiptName), "only store applications have a receipt");
  const auto ticket = base.status(ticketName);
  require(!ticket || ticket->kind == ItemKind::file, "a ticket is a file");
}

/// What this program and its callers read of an Info.plist.
constexpr std::array<std::string_view, 5> keysThatAreRead = {
    "CFBundleExecutable", "CFBundleIdentifier", "CFBundlePackageType", "CFBundleShortVersionString", "CFBundleVersion"};

/// The platform may prefer the value of KEY-macos or KEY~something to the one of KEY.
void checkKeys(const PropertyListTree& information) {
  for (const std::string_view key : keysThatAreRead) {
    const auto isVariant = [&](const auto& entry) {
      const std::string_view name = entry.first;
      return name.size() > key.size() && name.starts_with(key) && (name[key.size()] == '-' || name[key.size()] == '~');
    };
    require(std::ranges::none_of(information, isVariant), "a key that is read has one value for all systems");
  }
}

std::string executableNameOf(const PropertyListTree& information, std::string_view bundleName) {
  std::string name(bundleName.substr(0, bundleName.rfind('.')));
  if (const auto* entry = find(information, "CFBundleExecutable")) {
    const auto* text = entry->as<std::string>();
    require(text != nullptr, "the executable's name is a text");
    name = *text;
  }
  const bool isOneComponent = !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
                              name.find('\0') == std::string::npos;
  require(isOneComponent, "the executable's name leads nowhere else");
  return name;
}

struct Places {
  std::string informationPath;
  std::string executableFolder;  ///< with a slash, or empty
  bool isFlat = false;
};

BundleLayout readLayout(Folder base, const Places& places, std::string_view bundleName, PropertyListBudget& budget) {
  checkBase(base);
  Bytes bytes = base.content(places.informationPath, std::min(maximumBundleFileByteCount, budget.bytesLeft()));
  auto information = measurePropertyList(bytes);
  require(information.has_value(), "Info.plist is a dictionary");
  auto share = budget.take(information->extent);
  checkKeys(information->top);
  std::string executable = places.executableFolder + executableNameOf(information->top, bundleName);
  return {std::move(base),  std::move(executable), std::move(bytes), std::move(information->top),
          std::move(share), places.isFlat};
}

const Places contentsPlaces{"Info.plist", "MacOS/"};
const Places versionPlaces{"Resources/Info.plist", ""};
const Places flatPlaces{"Info.plist", "", true};

using LayoutJudge = std::function<void(BundleLayout)>;

void forEachVersion(const Folder& bundle, std::string_view name, PropertyListBudget& budget, const LayoutJudge& judge) {
  const FrameworkVersions versions = readFrameworkVersions(bundle);
  const auto judgeVersion = [&](const std::string& version) {
    judge(readLayout(bundle.folder("Versions/" + version), versionPlaces, name, budget));
  };
  judgeVersion(versions.current);
  std::ranges::for_each(versions.others, judgeVersion);
}

}  // namespace

void forEachBundleLayout(Folder bundle, std::string_view name, PropertyListBudget& budget, const LayoutJudge& judge) {
  if (bundle.status("Contents")) {
    checkApplicationRoot(bundle);
    return judge(readLayout(bundle.folder("Contents"), contentsPlaces, name, budget));
  }
  if (bundle.status("Versions")) return forEachVersion(bundle, name, budget, judge);
  checkFlatRoot(bundle);
  judge(readLayout(std::move(bundle), flatPlaces, name, budget));
}

}  // namespace brindlewick::codesign
