#include "support/codesign/SealedResources.h"

#include "support/codesign/CodeDirectory.h"
#include "support/codesign/PropertyListText.h"

namespace brindlewick::testing {
namespace {

std::string weighted(const std::string& effect, const std::string& weight) {
  std::string text = "<dict>";
  if (!effect.empty()) text += "<key>" + effect + "</key><true/>";
  return text + "<key>weight</key><real>" + weight + "</real></dict>";
}

const char* keyOf(std::uint8_t hashType) {
  switch (hashType) {
    case 1:
      return "hash";
    case 2:
      return "hash2";
    case 3:
      return "hash3";
    default:
      return "hash4";
  }
}

}  // namespace

std::vector<ResourceRule> standardRules() {
  return {{"^.*", "<true/>"},
          {"^[^/]+$", weighted("nested", "10")},
          {"^(Frameworks|SharedFrameworks|PlugIns|Plug-ins|XPCServices|Helpers|MacOS|"
           "Library/(Automator|Spotlight|LoginItems))/",
           weighted("nested", "10")},
          {".*\\.dSYM($|/)", weighted("", "11")},
          {"^Info\\.plist$", weighted("omit", "20")},
          {"^PkgInfo$", weighted("omit", "20")},
          {"^version\\.plist$", weighted("", "20")},
          {"^embedded\\.provisionprofile$", weighted("", "20")},
          {"^Resources/", weighted("", "20")},
          {"^Resources/.*\\.lproj/", weighted("optional", "1000")},
          {"^Resources/Base\\.lproj/", weighted("", "1010")},
          {"^Resources/.*\\.lproj/locversion.plist$", weighted("omit", "1100")},
          {"^(.*/)?\\.DS_Store$", weighted("omit", "2000")}};
}

std::vector<ResourceRule> flatRules() {
  constexpr std::string_view prefix = "^Resources/";
  std::vector<ResourceRule> rules = standardRules();
  std::erase_if(rules, [&](const ResourceRule& rule) { return rule.first == prefix; });
  for (auto& [pattern, effect] : rules)
    if (pattern.starts_with(prefix)) pattern.erase(1, prefix.size() - 1);
  return rules;
}

std::string fileSeal(ByteView content, const std::vector<std::uint8_t>& hashTypes, bool optional) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const std::uint8_t hashType : hashTypes)
    entries.emplace_back(keyOf(hashType), plist::data(slotDigest(content, hashType)));
  if (optional) entries.emplace_back("optional", "<true/>");
  return plist::dictionary(entries);
}

std::string linkSeal(const std::string& target) { return plist::dictionary({{"symlink", plist::string(target)}}); }

std::string nestedSeal(ByteView codeHash, const std::string& requirement) {
  return plist::dictionary({{"cdhash", plist::data(codeHash)}, {"requirement", plist::string(requirement)}});
}

std::string codeResources(const SealShape& shape, std::map<std::string, std::string> entries) {
  for (const auto& [path, element] : shape.entries) entries[path] = element;
  std::vector<std::pair<std::string, std::string>> list;
  if (shape.hasVersion1) list.emplace_back("files", plist::dictionary({}));
  if (shape.hasFiles2) list.emplace_back("files2", plist::dictionary({entries.begin(), entries.end()}));
  if (shape.hasVersion1) list.emplace_back("rules", plist::dictionary({{"^Resources/", "<true/>"}}));
  if (shape.hasRules2) list.emplace_back("rules2", plist::dictionary(shape.rules));
  std::string text = plist::document(plist::dictionary(list));
  if (shape.spoil) shape.spoil(text);
  return text;
}

}  // namespace brindlewick::testing
