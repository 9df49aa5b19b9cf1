#include "install/UpdateArchiveEntryPolicy.h"

#include <algorithm>

#include "install/UpdateInstallError.h"
#include "install/UpdateLayout.h"
#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < 32 || c == 127; }

bool isInBundle(std::string_view name) {
  if (!name.starts_with(UpdateLayout::bundleName)) return false;
  name.remove_prefix(UpdateLayout::bundleName.size());
  return name.empty() || name.starts_with('/');
}

bool isSafe(std::string_view name) {
  if (name.ends_with('/')) name.remove_suffix(1);  // a directory; a second slash leaves an empty component
  if (name.empty() || name.starts_with('/') || name.find('\\') != std::string_view::npos) return false;
  if (std::ranges::any_of(name, isControl) || !isInBundle(name)) return false;
  return std::ranges::none_of(split(name, '/'),
                              [](std::string_view piece) { return piece.empty() || piece == "." || piece == ".."; });
}

}  // namespace

void UpdateArchiveEntryPolicy::check(const std::vector<std::string_view>& names) {
  require(!names.empty() && std::ranges::all_of(names, isSafe), UpdateInstallError::unsafeArchive);
}

}  // namespace brindlewick
