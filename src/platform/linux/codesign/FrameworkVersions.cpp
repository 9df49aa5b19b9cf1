#include "platform/linux/codesign/FrameworkVersions.h"

#include <algorithm>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

constexpr std::string_view finderFile = ".DS_Store";

/// The text of a link without the folder that it stands in, which some tools write first.
std::string withoutOwnFolder(const std::string& target) { return target.substr(target.starts_with("./") ? 2 : 0); }

FrameworkVersions readVersions(const Folder& folder) {
  FrameworkVersions versions;
  for (const FolderItem& item : folder.items()) {
    if (item.kind == ItemKind::directory)
      versions.others.push_back(item.name);
    else if (item.kind == ItemKind::link && item.name == "Current")
      versions.currentLink = folder.linkTarget(item.name);
    else
      require(item.name == finderFile && isPlainFile(folder, item.name), "Versions holds only versions");
  }
  versions.current = withoutOwnFolder(versions.currentLink);
  const auto current = std::ranges::find(versions.others, versions.current);
  require(current != versions.others.end(), "the current version of a framework is one of its versions");
  versions.others.erase(current);
  return versions;
}

/// Links in the root lead to the item of the same name in the current version. Whoever loads the framework goes through
/// them, and what is signed as current would not be what is loaded.
bool leadsIntoTheCurrentVersion(const Folder& framework, const std::string& name, const FrameworkVersions& versions) {
  const std::string target = withoutOwnFolder(framework.linkTarget(name));
  return target == "Versions/Current/" + name || target == "Versions/" + versions.currentLink + "/" + name;
}

}  // namespace

bool isPlainFile(const Folder& folder, const std::string& name) {
  const auto status = folder.status(name);
  return status && status->kind == ItemKind::file && !status->isExecutable;
}

FrameworkVersions readFrameworkVersions(const Folder& framework) {
  FrameworkVersions versions = readVersions(framework.folder("Versions"));
  for (const FolderItem& item : framework.items()) {
    if (item.name == "Versions") continue;
    if (item.kind == ItemKind::link)
      require(leadsIntoTheCurrentVersion(framework, item.name, versions),
              "a framework's links lead into its current version");
    else
      require((item.name == finderFile || item.name == "module.map") && isPlainFile(framework, item.name),
              "nothing unsealed lies in the root of a framework");
  }
  return versions;
}

}  // namespace brindlewick::codesign
