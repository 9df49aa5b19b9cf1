#include "install/ExpandedTree.h"

#include <algorithm>

#include "install/UpdateInstallError.h"

namespace brindlewick {

void ExpandedTree::check(FileSystem& files, const Path& preparationDirectory, const Path& candidate) {
  using enum UpdateInstallError;
  const auto names = files.list(preparationDirectory);
  require(names.size() == 1, invalidApplicationBundle);
  require(preparationDirectory / names[0] == candidate, invalidApplicationBundle);

  const auto root = files.attributes(candidate);
  require(root && root->kind == FileKind::directory, invalidApplicationBundle);
  const bool hasLink = std::ranges::any_of(files.walk(candidate),
                                           [](const TreeItem& item) { return item.kind == FileKind::symbolicLink; });
  require(!hasLink, unsafeArchive);
}

}  // namespace brindlewick
