#include "Expander.h"

#include <algorithm>
#include <vector>

#include "ArchiveRules.h"
#include "EntryReader.h"
#include "NameOrder.h"
#include "Refusal.h"
#include "TargetFolder.h"

namespace brindlewick::ditto {
namespace {

/// Of folders without an entry.
constexpr mode_t impliedMode = 0755;

class Expansion {
 public:
  Expansion(const ArchiveFile& archive, const std::vector<Item>& items, TargetFolder& target,
            const std::function<bool()>& isInterrupted)
      : reader_(archive),
        items_(items),
        plan_(items),
        modified_(items.size()),
        target_(target),
        isInterrupted_(isInterrupted) {}

  void run() {
    try {
      createFolders();
      for (const Item& item : items_) add(item);
      reader_.expectEnd();
      finishFolders();
    } catch (...) {
      removeCreated();
      throw;
    }
  }

 private:
  void requireNoInterruption() const {
    if (isInterrupted_()) throw Refusal("interrupted");
  }

  /// The folders at the top stay closed to others until all is done, and shield what is below them.
  void createFolders() {
    for (std::size_t entry = 0; entry < plan_.entryCount(); ++entry)
      for (const PlannedFolder& folder : plan_.foldersOf(entry)) {
        requireNoInterruption();
        target_.createFolder(folder.path);
        ++createdFolderCount_;
        if (folder.entry == nullptr && !isAtTheTop(folder)) target_.finishFolder(folder.path, impliedMode, nullptr);
      }
  }

  void add(const Item& item) {
    requireNoInterruption();
    const timespec modified = reader_.next(item);
    if (item.kind == Item::Kind::folder) {
      modified_[indexOf(item)] = modified;
      if (!reader_.read().empty()) throw Refusal("a folder has content");
      return;
    }
    const Descriptor file = target_.createFile(item.path);
    createdFileEnd_ = indexOf(item) + 1;
    copyTo(file);
    setAttributes(file, item.mode, &modified);
  }

  void copyTo(const Descriptor& file) {
    for (ByteView block = reader_.read(); !block.empty(); block = reader_.read()) {
      requireNoInterruption();
      writeAll(file, block);
    }
  }

  /// Modes and times of folders come last: a mode may forbid what is still to be created, and every creation changes
  /// the time. What a folder holds comes before it.
  void finishFolders() {
    isFinishing_ = true;
    forEachFolderBackwards([this](const PlannedFolder& folder) {
      if (folder.entry != nullptr)
        target_.finishFolder(folder.path, folder.entry->mode, &modified_[indexOf(*folder.entry)]);
      else if (isAtTheTop(folder))
        target_.finishFolder(folder.path, impliedMode, nullptr);
    });
  }

  /// What cannot be removed stays; there is nobody left to tell.
  void removeCreated() {
    // Folders that already have their final mode may lack the permission to remove what they hold.
    if (isFinishing_)
      for (std::size_t entry = 0; entry < plan_.entryCount(); ++entry)
        for (const PlannedFolder& folder : plan_.foldersOf(entry))
          if (folder.entry != nullptr) target_.reopenFolder(folder.path);
    for (std::size_t i = 0; i < createdFileEnd_; ++i)
      if (items_[i].kind == Item::Kind::file) target_.removeFile(items_[i].path);
    std::size_t missing = folderCount() - createdFolderCount_;
    forEachFolderBackwards([&](const PlannedFolder& folder) {
      if (missing > 0)
        --missing;
      else
        target_.removeFolder(folder.path);
    });
  }

  template <typename Visit>
  void forEachFolderBackwards(Visit visit) const {
    for (std::size_t entry = plan_.entryCount(); entry-- > 0;) {
      const std::vector<PlannedFolder> folders = plan_.foldersOf(entry);
      std::for_each(folders.rbegin(), folders.rend(), visit);
    }
  }

  [[nodiscard]] std::size_t folderCount() const {
    std::size_t count = 0;
    forEachFolderBackwards([&](const PlannedFolder&) { ++count; });
    return count;
  }

  [[nodiscard]] std::size_t indexOf(const Item& item) const { return static_cast<std::size_t>(&item - items_.data()); }
  [[nodiscard]] static bool isAtTheTop(const PlannedFolder& folder) {
    return folder.path.find('/') == std::string::npos;
  }

  EntryReader reader_;
  const std::vector<Item>& items_;
  FolderPlan plan_;
  std::vector<timespec> modified_;  ///< of the folders, by the items' places
  TargetFolder& target_;
  const std::function<bool()>& isInterrupted_;
  std::size_t createdFolderCount_ = 0;
  std::size_t createdFileEnd_ = 0;  ///< behind the last item whose file was created
  bool isFinishing_ = false;
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
  if (!items.empty()) Expansion(archive, items, target, isInterrupted).run();
  target.keep();
}

}  // namespace brindlewick::ditto
