#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "ArchiveRules.h"

namespace brindlewick::ditto {

/// Whether one relative path comes before another in the order of names: by components, so that a folder stands right
/// before what it holds and all that share a folder stand together.
[[nodiscard]] bool precedesByName(std::string_view a, std::string_view b) noexcept;

/// How many components two relative paths begin with alike, and how many a path has.
[[nodiscard]] std::size_t sharedComponentCount(std::string_view a, std::string_view b) noexcept;
[[nodiscard]] std::size_t componentCount(std::string_view path) noexcept;

/// A folder that items need.
struct PlannedFolder {
  std::string path;
  const Item* entry = nullptr;  ///< null: the archive only implies it
};

/// All folders that items need, each once and before what it holds. Only the order of the items is kept, and the
/// folders are found again each time: an archive can name hundreds of them with each of its entries.
class FolderPlan {
 public:
  /// Refers to the items, of which no two have one path and none lies below a file.
  explicit FolderPlan(const std::vector<Item>& items);

  [[nodiscard]] std::size_t entryCount() const noexcept { return order_.size(); }
  /// The folders that come up with an entry in the order of names: those that the entry before does not lie in, too.
  [[nodiscard]] std::vector<PlannedFolder> foldersOf(std::size_t entry) const;

 private:
  std::vector<const Item*> order_;
};

}  // namespace brindlewick::ditto
