#include "platform/linux/codesign/SealedResources.h"

#include <algorithm>
#include <unordered_set>

#include "platform/AsciiText.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/ResourceRules.h"
#include "platform/linux/codesign/SealedEntry.h"
#include "platform/linux/codesign/SealedFiles.h"

namespace brindlewick::codesign {
namespace {

/// Every level holds a descriptor and a frame of the stack.
constexpr int maximumDepth = 128;

/// PATH_MAX of macOS.
constexpr std::size_t maximumPathByteCount = 1024;

const PropertyListTree& dictionaryOf(const PropertyListTree& envelope, std::string_view key) {
  const PropertyListNode* node = find(envelope, key);
  const auto* dictionary = node == nullptr ? nullptr : node->as<PropertyListTree>();
  require(dictionary != nullptr, "an envelope has its four dictionaries");
  return *dictionary;
}

/// Whether a target, followed from the link's folder, stays below the base or leads to the system. Nothing is looked
/// up: a component that is itself a link is judged where it stands. So no step up may follow a step down, since it
/// would begin wherever such a link leads; and none may follow the name of a folder of the system.
bool staysInside(std::string_view path, std::string_view target) {
  auto stepsUp = std::ranges::count(path, '/');
  const bool isAbsolute = target.starts_with("/");
  if (isAbsolute && !target.starts_with("/System/") && !target.starts_with("/Library/")) return false;
  bool goesDown = isAbsolute;
  while (!target.empty()) {
    const auto component = target.substr(0, target.find('/'));
    target.remove_prefix(std::min(target.size(), component.size() + 1));
    if (component.empty() || component == ".") continue;
    if (component != "..")
      goesDown = true;
    else if (goesDown || --stepsUp < 0)
      return false;
  }
  return true;
}

/// Walks the base and compares: what is where first, then the contents of all files.
class ResourceScan {
 public:
  ResourceScan(const BundleLayout& bundle, const PropertyListTree& envelope, const SealRules& rules)
      : bundle_(bundle),
        files_(dictionaryOf(envelope, "files2")),
        resourceRules_(ResourceRules::compile(dictionaryOf(envelope, "rules2"), bundle.isFlat)),
        rules_(rules) {}

  void run() {
    scan(bundle_.base, "", 0);
    for (const auto& [path, node] : files_)
      require(met_.contains(&node) || SealedEntry(node).isOptional(), "nothing sealed is missing");
    sealedFiles_.verify(bundle_.base, rules_.hashTypes);
  }

 private:
  /// `prefix` is the folder's path with a slash at its end, empty for the base.
  void scan(const Folder& folder, const std::string& prefix, int depth) {
    require(depth <= maximumDepth, "folders are not nested without end");
    for (const FolderItem& item : folder.items()) {
      const std::string path = prefix + item.name;
      require(path.size() <= maximumPathByteCount, "a path is not longer than the system's longest");
      if (!isExcluded(path)) judge(folder, item, path, depth);
    }
  }

  [[nodiscard]] bool isExcluded(const std::string& path) const {
    return path == signatureFolderName || path == ticketName || path == bundle_.executablePath;
  }

  void judge(const Folder& folder, const FolderItem& item, const std::string& path, int depth) {
    switch (item.kind) {
      case ItemKind::directory:
        return judgeDirectory(folder, item.name, path, depth);
      case ItemKind::file:
        return judgeFile(folder, item.name, path);
      case ItemKind::link:
        return judgeLink(folder, item.name, path);
      case ItemKind::other:
        throw Refusal("a bundle holds files, directories and links");
    }
  }

  /// A directory whose name has a dot, where code is expected, is nested code; others have no entries.
  void judgeDirectory(const Folder& folder, const std::string& name, const std::string& path, int depth) {
    const auto effect = resourceRules_.effectOn(path);
    if (!effect || !effect->isNested || name.find('.') == std::string::npos)
      return scan(folder.folder(name), path + "/", depth + 1);
    judgeCode(folder, name, SealedEntry(sealed(path).second));
  }

  void judgeFile(const Folder& folder, const std::string& name, const std::string& path) {
    if (isUnsealed(path)) return;
    const auto& [key, node] = sealed(path);
    const SealedEntry entry(node);
    if (entry.requirement() != nullptr) return judgeCode(folder, name, entry);
    require(entry.isFile(), "a sealed link is a link");
    sealedFiles_.add(key, entry);
  }

  void judgeLink(const Folder& folder, const std::string& name, const std::string& path) {
    require(asciiLowercase(name) != ".ds_store", "no link takes the name of the Finder's file");
    const std::string target = folder.linkTarget(name);
    require(!rules_.confinesLinks || staysInside(path, target), "a link stays inside its bundle");
    if (isUnsealed(path)) return;
    const SealedEntry entry(sealed(path).second);
    require(entry.linkTarget() != nullptr && *entry.linkTarget() == target, "a link leads where it was sealed to lead");
  }

  void judgeCode(const Folder& folder, const std::string& name, const SealedEntry& entry) {
    require(entry.requirement() != nullptr, "nested code is sealed by a requirement");
    rules_.checkNestedCode(folder, name, *entry.requirement());
  }

  [[nodiscard]] bool isUnsealed(const std::string& path) {
    const auto effect = resourceRules_.effectOn(path);
    return !effect || effect->isOmitted;
  }

  /// The path, as the envelope holds it, and its entry.
  const PropertyListTree::value_type& sealed(const std::string& path) {
    const auto found = files_.find(path);
    require(found != files_.end(), "nothing is added to a sealed bundle");
    met_.insert(&found->second);
    return *found;
  }

  const BundleLayout& bundle_;
  const PropertyListTree& files_;
  ResourceRules resourceRules_;
  const SealRules& rules_;
  std::unordered_set<const PropertyListNode*> met_;
  SealedFiles sealedFiles_;
};

}  // namespace

void verifySealedResources(const BundleLayout& bundle, ByteView envelope, const SealRules& rules) {
  const auto parsed = measurePropertyList(envelope);
  require(parsed.has_value(), "an envelope is a property list");
  const auto share = rules.budget.take(parsed->extent);
  // Version 1 seals too little; it must be there for old systems and is not read.
  static_cast<void>(dictionaryOf(parsed->top, "rules"));
  static_cast<void>(dictionaryOf(parsed->top, "files"));
  ResourceScan(bundle, parsed->top, rules).run();
}

}  // namespace brindlewick::codesign
