#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "platform/posix/FileCopy.h"
#include "platform/posix/Renaming.h"
#include "platform/posix/SystemCalls.h"
#include "platform/posix/TreeOperations.h"
#include "platform/posix/TreeTraversal.h"

namespace brindlewick::posix {
namespace {

/// Whether nobody but us can change the names in a folder.
bool isPrivate(int folder) noexcept {
  struct stat status {};
  return ::fstat(folder, &status) == 0 && status.st_uid == ::geteuid() && (status.st_mode & 077) == 0;
}

bool isDirectory(int folder, const std::string& name) noexcept {
  struct stat status {};
  return ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// Gives us every right to a directory that we could not open, and never through a link. Returns whether it did.
bool unlock(int folder, const std::string& name) noexcept {
  const int code = setModeOfUnreadable(folder, name.c_str(), 0700);
  if (code == 0 || !isUnsupported(code)) return code == 0;
  // This system can set permissions only of what a name leads to. Who alone can change the name may look before.
  return isPrivate(folder) && isDirectory(folder, name) && ::fchmodat(folder, name.c_str(), 0700, 0) == 0;
}

/// Removes as much as it can and keeps the first error, so that one stubborn item leaves little behind.
class Removal final : public TreeVisitor {
 public:
  [[nodiscard]] bool meet(int folder, const std::string& name) override {
    if (::unlinkat(folder, name.c_str(), 0) == 0 || errno == ENOENT) return false;
    // Systems differ in what they answer for a directory.
    const int code = errno;
    if (isDirectory(folder, name)) return true;
    note("remove", name, code);
    return false;
  }

  [[nodiscard]] Descriptor open(int folder, const std::string& name) override {
    auto directory = tryOpenDirectory(folder, name.c_str());
    if (!directory && errno == EACCES && unlock(folder, name)) directory = tryOpenDirectory(folder, name.c_str());
    if (directory) return directory;
    const int code = errno;
    // An empty one needs no opening.
    if (::unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) note("open", name, code);
    return {};
  }

  [[nodiscard]] std::vector<std::string> enter(int directory, const std::string& name) override {
    claim(directory);
    try {
      return TreeVisitor::enter(directory, name);
    } catch (const PlatformError& error) {
      if (!first_) first_ = error;
      return {};
    }
  }

  void leave(int folder, const std::string& name, int /*directory*/) override { removeDirectory(folder, name); }

  /// Throws the first error.
  void finish() const {
    if (first_) throw PlatformError(*first_);
  }

 private:
  /// Lets us change what is in a directory, and nobody else. Where this is refused, perhaps it was not needed.
  static void claim(int directory) noexcept {
    struct stat status {};
    if (::fstat(directory, &status) == 0 && (status.st_mode & 0777) != 0700)
      static_cast<void>(::fchmod(directory, 0700));
  }

  void removeDirectory(int folder, const std::string& name) {
    if (::unlinkat(folder, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) note("remove", name, errno);
  }

  void note(std::string_view operation, const std::string& name, int code) {
    if (!first_) first_.emplace(operation, name, std::error_code(code, std::generic_category()));
  }

  std::optional<PlatformError> first_;
};

}  // namespace

void removeTree(const Path& path) {
  // Opened before the renaming: what is set aside in a folder is removed there, wherever that folder's name leads next.
  const auto folder = tryOpenFolderOf(path);
  if (!folder && errno == ENOENT) return;
  if (!folder) throwErrno("open the folder of", path.string());
  std::string name(path.lastComponent());
  auto hidden = temporaryName(name);
  const int code = renameExclusively(folder.get(), name.c_str(), folder.get(), hidden.c_str());
  if (code == ENOENT) return;
  // A single call that fails, or somebody who moves a folder while we are below it, ends a visit with things left. The
  // next one begins without what is gone already.
  constexpr int visits = 3;
  for (int visit = 1;; ++visit) {
    Removal removal;
    try {
      // Without a name aside, it goes where it is.
      visitTree(folder.get(), code == 0 ? hidden : name, removal);
      return removal.finish();
    } catch (const PlatformError& error) {
      if (visit == visits || error.isInterruption()) throw;
    }
  }
}

}  // namespace brindlewick::posix
