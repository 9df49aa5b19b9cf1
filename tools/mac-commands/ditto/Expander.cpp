#include "Expander.h"

#include <map>
#include <optional>
#include <vector>

#include "ArchiveRules.h"
#include "EntryReader.h"
#include "Refusal.h"
#include "TargetFolder.h"

namespace brindlewick::ditto {
namespace {

class Expansion {
 public:
  Expansion(const ArchiveFile& archive, TargetFolder& target, const std::function<bool()>& isInterrupted)
      : reader_(archive), target_(target), isInterrupted_(isInterrupted) {}

  void add(const Item& item) {
    const timespec modified = reader_.next(item);
    createParents(item.path);
    if (item.kind == Item::Kind::folder) {
      createFolderOnce(item.path);
      folders_[item.path] = {item.mode, modified};
    } else {
      const Descriptor file = target_.createFile(item.path);
      copyTo(file);
      setAttributes(file, item.mode, &modified);
    }
    if (item.kind == Item::Kind::folder) expectNoData();
  }

  /// Modes and times of folders come last: a mode may forbid what is still to be created, and every creation changes
  /// the time.
  void finish() {
    reader_.expectEnd();
    // A folder sorts before what it holds.
    for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) {
      const auto& [mode, modified] = folder->second;
      target_.finishFolder(folder->first, mode, modified ? &*modified : nullptr);
    }
  }

 private:
  struct FolderAttributes {
    mode_t mode;
    std::optional<timespec> modified;
  };

  void createFolderOnce(const std::string& path) {
    if (folders_.try_emplace(path, FolderAttributes{0755, std::nullopt}).second) target_.createFolder(path);
  }

  void createParents(const std::string& path) {
    const auto last = path.rfind('/');
    if (last == std::string::npos || folders_.contains(path.substr(0, last))) return;
    for (auto end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
      createFolderOnce(path.substr(0, end));
  }

  void copyTo(const Descriptor& file) {
    for (ByteView block = reader_.read(); !block.empty(); block = reader_.read()) {
      if (isInterrupted_()) throw Refusal("interrupted");
      writeAll(file, block);
    }
  }

  void expectNoData() {
    if (!reader_.read().empty()) throw Refusal("a folder has content");
  }

  EntryReader reader_;
  TargetFolder& target_;
  const std::function<bool()>& isInterrupted_;
  std::map<std::string, FolderAttributes> folders_;
};

/// An archive can declare a thousand times its own size. What cannot fit is not begun.
void requireSpace(const std::vector<Item>& items, std::uint64_t freeByteCount) {
  for (const Item& item : items) {
    if (item.byteCount > freeByteCount) throw Refusal("the archive needs more space than there is");
    freeByteCount -= item.byteCount;
  }
}

}  // namespace

void expand(const ArchiveFile& archive, const std::string& folder, const std::function<bool()>& isInterrupted) {
  const std::vector<Item> items = checkedItems(readCentralDirectory(archive));
  TargetFolder target(folder);
  requireSpace(items, target.freeByteCount());
  if (!items.empty()) {
    Expansion expansion(archive, target, isInterrupted);
    for (const Item& item : items) {
      if (isInterrupted()) throw Refusal("interrupted");
      expansion.add(item);
    }
    expansion.finish();
  }
  target.keep();
}

}  // namespace brindlewick::ditto
