#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/posix/Descriptor.h"

namespace brindlewick::posix {

/// A place in a tree, as one open folder however deep it lies. The way up opens ".." and makes sure that this is the
/// folder from which the way down came: whoever moves a folder while something works below it leads it nowhere.
class FolderTrail {
 public:
  /// `top` is the caller's and stays open.
  explicit FolderTrail(int top) noexcept : top_(top) {}

  [[nodiscard]] int folder() const noexcept { return above_.empty() ? top_ : folder_.get(); }
  [[nodiscard]] std::size_t depth() const noexcept { return above_.size(); }
  /// Goes into a directory that was opened in this folder.
  void descend(Descriptor directory);
  /// Goes up again and returns the directory that it leaves. Throws PlatformError if the folder above is another one.
  [[nodiscard]] Descriptor ascend();

 private:
  struct Identity {
    dev_t device;
    ino_t file;

    bool operator==(const Identity&) const = default;
  };
  [[nodiscard]] static Identity identify(int folder);

  int top_;
  Descriptor folder_;
  std::vector<Identity> above_;
};

/// What is done with the items of a tree. What one of these throws ends the visit.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;

  /// Meets an item, by its name in an open folder. Returns whether to go into it.
  [[nodiscard]] virtual bool meet(int folder, const std::string& name) = 0;
  /// Opens a directory that is gone into, without following a link; an empty answer leaves it out.
  [[nodiscard]] virtual Descriptor open(int folder, const std::string& name);
  /// Stands in a directory. Returns the names in it to visit.
  [[nodiscard]] virtual std::vector<std::string> enter(int directory, const std::string& name);
  /// Has visited everything in a directory, which is still open, and stands in its folder again.
  virtual void leave(int folder, const std::string& name, int directory) = 0;
};

/// Visits one item of an open folder and, where the visitor goes into it, everything below, in the order of the names.
/// Holds two descriptors at most, and no limit of depth but memory. Throws PlatformError.
void visitTree(int folder, const std::string& name, TreeVisitor& visitor);

}  // namespace brindlewick::posix
