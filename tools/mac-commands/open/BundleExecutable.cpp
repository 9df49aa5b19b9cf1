#include "BundleExecutable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>

#include "plist/PropertyListTree.h"

namespace brindlewick::open {
namespace {

/// Far more than any application has.
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

std::string nameWithoutExtension(const std::string& bundle) {
  return std::filesystem::path(bundle).filename().stem().string();
}

/// The executable's name by the property list; the bundle's own where the list does not say.
std::optional<std::string> executableName(const std::string& bundle) {
  const auto information = parsePropertyList(asBytes(smallFile(bundle + "/Contents/Info.plist")));
  if (!information) return std::nullopt;
  const PropertyListNode* value = find(*information, "CFBundleExecutable");
  if (value == nullptr) return nameWithoutExtension(bundle);
  const auto* name = value->as<std::string>();
  return name != nullptr ? std::optional(*name) : std::nullopt;
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
