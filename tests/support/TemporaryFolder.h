#pragma once

#include <string>
#include <string_view>

#include "platform/Bytes.h"
#include "platform/Path.h"

namespace brindlewick::testing {

/// A folder of one test, on disk, removed with everything in it at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const Path& path() const noexcept { return path_; }
  [[nodiscard]] Path operator/(std::string_view name) const { return path_ / name; }

 private:
  Path path_;
};

/// Writes a file with these permissions, and the folders above it.
void writeFile(const Path& path, std::string_view content, unsigned permissions = 0644);
[[nodiscard]] std::string readFile(const Path& path);
[[nodiscard]] bool exists(const Path& path);
/// The permission bits of the item itself.
[[nodiscard]] unsigned permissionsOf(const Path& path);

/// Creates a folder with so many more below each other in it, each named "d" beside a file of one byte.
void nestFolders(const Path& root, int levels);

/// One line for the item itself and each below it, sorted: relative path, type, and permissions in octal; for a file
/// its size, the time of its last change and the digest of its content, for a link its target. Two equal listings are
/// two equal trees. "nothing" when there is no such item.
[[nodiscard]] std::string listing(const Path& folder);

}  // namespace brindlewick::testing
