#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Path.h"
#include "platform/linux/codesign/ByteSource.h"
#include "platform/posix/Descriptor.h"

namespace brindlewick::codesign {

enum class ItemKind { file, directory, link, other };

struct FolderItem {
  std::string name;
  ItemKind kind = ItemKind::other;
};

struct ItemStatus {
  ItemKind kind = ItemKind::other;
  bool isExecutable = false;  ///< by anybody
  std::uint64_t byteCount = 0;
};

/// An open directory. Everything in it is reached from its descriptor and by names, never by a path that somebody could
/// redirect meanwhile, and no link is followed. What cannot be read throws PlatformError.
class Folder {
 public:
  explicit Folder(Descriptor directory) noexcept : directory_(std::move(directory)) {}

  /// Everything but "." and "..", in no order.
  [[nodiscard]] std::vector<FolderItem> items() const;
  /// The item itself, if there is one of exactly this name.
  [[nodiscard]] std::optional<ItemStatus> status(std::string_view name) const;
  /// The text of a link.
  [[nodiscard]] std::string linkTarget(std::string_view name) const;

  /// A directory or a regular file below this one. `path` is relative, its components joined by "/"; each of them is
  /// opened from the one before. Throws Refusal when the last is of another kind.
  [[nodiscard]] Folder folder(std::string_view path) const;
  [[nodiscard]] FileSource file(std::string_view path) const;
  /// The whole content of a file of at most `limit` bytes.
  [[nodiscard]] Bytes content(std::string_view path, std::uint64_t limit) const;

 private:
  Descriptor directory_;
};

/// Opens what lies at a path, once and for all that is asked of it: a directory or a regular file, but no link to one.
/// Throws PlatformError when it cannot be opened, Refusal when it is something else.
[[nodiscard]] std::variant<Folder, FileSource> openCode(const Path& path);

}  // namespace brindlewick::codesign
