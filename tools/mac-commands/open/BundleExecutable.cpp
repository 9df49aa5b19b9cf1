#include "BundleExecutable.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>

namespace brindlewick::open {
namespace {

/// Far more than any application has; libplist takes 32-bit sizes.
constexpr std::size_t maximumPropertyListByteCount = 16 * 1024 * 1024;

/// The content of a regular file; empty when it is none, cannot be read or is too large.
std::string smallFile(const std::string& path) {
  // Without O_NONBLOCK, opening a named pipe would wait for a writer.
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return {};
  struct stat attributes {};
  std::string content;
  if (fstat(file, &attributes) == 0 && S_ISREG(attributes.st_mode) &&
      static_cast<std::uint64_t>(attributes.st_size) <= maximumPropertyListByteCount) {
    content.resize(static_cast<std::size_t>(attributes.st_size));
    if (read(file, content.data(), content.size()) != attributes.st_size) content.clear();
  }
  close(file);
  return content;
}

struct PropertyList {
  std::unique_ptr<void, decltype(&plist_free)> root{nullptr, plist_free};

  explicit PropertyList(const std::string& file) {
    const std::string content = smallFile(file);
    if (content.empty()) return;
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
