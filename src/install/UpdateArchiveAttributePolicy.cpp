#include "install/UpdateArchiveAttributePolicy.h"

#include <algorithm>

#include "install/UpdateInstallError.h"
#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

constexpr std::size_t permissionLetterCount = 9;

/// Whether this is one character of UTF-8, however many bytes it takes.
bool isOneCharacter(std::string_view text) {
  return std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }) == 1;
}

bool arePermissionLetters(std::string_view text) {
  return text.find_first_not_of("rwxstST-") == std::string_view::npos;
}

bool isAcceptable(std::string_view line) {
  const auto fields = words(line);
  if (fields.empty() || fields[0].size() <= permissionLetterCount) return true;
  const auto type = fields[0].substr(0, fields[0].size() - permissionLetterCount);
  if (!isOneCharacter(type) || !arePermissionLetters(fields[0].substr(type.size()))) return true;
  return type == "d" || type == "-";
}

}  // namespace

void UpdateArchiveAttributePolicy::check(std::string_view listing) {
  require(std::ranges::all_of(split(listing, '\n'), isAcceptable), UpdateInstallError::unsafeArchive);
}

}  // namespace brindlewick
