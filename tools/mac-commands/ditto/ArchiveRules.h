#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "CentralDirectory.h"

namespace brindlewick::ditto {

/// One file or folder that the archive asks for.
struct Item {
  enum class Kind { file, folder };

  /// Relative, with single slashes and without one at the end.
  std::string path;
  Kind kind = Kind::file;
  /// The nine permission bits; set-user, set-group and sticky bits are dropped.
  mode_t mode = 0;
  std::uint64_t byteCount = 0;

  bool operator==(const Item&) const = default;
};

/// What the entries ask for, in their order. Throws Refusal for a name that is absolute, climbs, has an empty, "." or
/// ".." component, a backslash, a control byte, is not UTF-8 or longer than 1,024 bytes; for anything but a plain file
/// or folder, whichever system made the entry; and for names of which a Mac's file system would make one (equal after
/// case folding and normalisation, ignorable characters left out) or that need one item to be a file and a folder.
[[nodiscard]] std::vector<Item> checkedItems(const std::vector<ArchiveEntry>& entries);

/// A name as a file system that ignores case and normalisation compares it. Throws Refusal when it is not UTF-8.
[[nodiscard]] std::string comparisonKey(std::string_view name);

}  // namespace brindlewick::ditto
