#include "BundleExecutable.h"

#include <plist/plist.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>

namespace brindlewick::open {
namespace {

/// Far more than any application has; libplist takes 32-bit sizes.
constexpr std::size_t maximumPropertyListByteCount = 16 * 1024 * 1024;

struct PropertyList {
  std::unique_ptr<void, decltype(&plist_free)> root{nullptr, plist_free};

  explicit PropertyList(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (content.empty() || content.size() > maximumPropertyListByteCount) return;
    plist_t parsed = nullptr;
    plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &parsed);
    root.reset(parsed);
  }
};

std::string nameWithoutExtension(const std::string& bundle) {
  return std::filesystem::path(bundle).filename().stem().string();
}

/// The executable's name by the property list; the bundle's own where the list does not say.
std::optional<std::string> executableName(const std::string& bundle) {
  const PropertyList list(bundle + "/Contents/Info.plist");
  if (!list.root || plist_get_node_type(list.root.get()) != PLIST_DICT) return std::nullopt;
  plist_t value = plist_dict_get_item(list.root.get(), "CFBundleExecutable");
  if (value == nullptr) return nameWithoutExtension(bundle);
  if (plist_get_node_type(value) != PLIST_STRING) return std::nullopt;
  char* text = nullptr;
  plist_get_string_val(value, &text);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace

std::optional<std::string> bundleExecutable(std::string bundle) {
  while (bundle.size() > 1 && bundle.ends_with('/')) bundle.pop_back();
  const auto name = executableName(bundle);
  if (!name || name->empty() || *name == "." || *name == ".." || name->find('/') != std::string::npos)
    return std::nullopt;
  return bundle + "/Contents/MacOS/" + *name;
}

}  // namespace brindlewick::open
