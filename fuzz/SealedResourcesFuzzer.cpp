// A resource envelope: its rules against a few paths, and every entry.

#include <array>

#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/ResourceRules.h"
#include "platform/linux/codesign/SealedEntry.h"
#include "plist/PropertyListTree.h"

namespace {

using namespace brindlewick;
using namespace brindlewick::codesign;

const PropertyListTree* dictionary(const PropertyListTree& envelope, std::string_view key) {
  const PropertyListNode* node = find(envelope, key);
  return node == nullptr ? nullptr : node->as<PropertyListTree>();
}

void askRules(const PropertyListTree& rules) {
  ResourceRules compiled = ResourceRules::compile(rules, false);
  for (const char* path :
       std::array{"Info.plist", "Resources/en.lproj/locversion.plist", "MacOS/helper", "x/.DS_Store"})
    static_cast<void>(compiled.effectOn(path));
}

void askEntries(const PropertyListTree& files) {
  for (const auto& [path, node] : files) {
    const SealedEntry entry(node);
    if (entry.isFile()) static_cast<void>(entry.hash(HashType::sha256));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto envelope = parsePropertyList(ByteView(data, size));
  if (!envelope) return 0;
  try {
    if (const auto* rules = dictionary(*envelope, "rules2")) askRules(*rules);
    if (const auto* files = dictionary(*envelope, "files2")) askEntries(*files);
  } catch (const Refusal&) {
  }
  return 0;
}
