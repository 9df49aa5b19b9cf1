#include "platform/posix/TreeTraversal.h"

#include <algorithm>
#include <utility>

#include "platform/posix/SystemCalls.h"
#include "platform/posix/TreeOperations.h"

namespace brindlewick::posix {
namespace {

/// A folder on the way, and the names in it that are still to be visited, the next one last.
struct Level {
  std::string name;
  std::vector<std::string> waiting;
};

class Traversal {
 public:
  Traversal(int folder, const std::string& name, TreeVisitor& visitor)
      : trail_(folder), visitor_(visitor), levels_{{"", {name}}} {}

  void run() {
    for (;;) {
      if (!levels_.back().waiting.empty()) {
        visitNext();
      } else if (levels_.size() > 1) {
        ascend();
      } else {
        return;
      }
    }
  }

 private:
  void visitNext() {
    auto& waiting = levels_.back().waiting;
    auto name = std::move(waiting.back());
    waiting.pop_back();
    if (!visitor_.meet(trail_.folder(), name)) return;
    auto directory = visitor_.open(trail_.folder(), name);
    if (!directory) return;
    trail_.descend(std::move(directory));
    auto names = visitor_.enter(trail_.folder(), name);
    std::ranges::reverse(names);
    levels_.push_back({std::move(name), std::move(names)});
  }

  void ascend() {
    const auto name = std::move(levels_.back().name);
    levels_.pop_back();
    const auto directory = trail_.ascend();
    visitor_.leave(trail_.folder(), name, directory.get());
  }

  FolderTrail trail_;
  TreeVisitor& visitor_;
  std::vector<Level> levels_;
};

}  // namespace

FolderTrail::Identity FolderTrail::identify(int folder) {
  struct stat status {};
  if (::fstat(folder, &status) != 0) throwErrno("examine", "a folder");
  return {status.st_dev, status.st_ino};
}

void FolderTrail::descend(Descriptor directory) {
  // The top needs no way back to it: it stays open.
  above_.push_back(above_.empty() ? Identity{} : identify(folder()));
  folder_ = std::move(directory);
}

Descriptor FolderTrail::ascend() {
  Descriptor up;
  if (above_.size() > 1) {
    up = openDirectory(folder_.get(), "..");
    if (identify(up.get()) != above_.back()) throwErrno("go up from", "a folder that was moved", ENOENT);
  }
  above_.pop_back();
  return std::exchange(folder_, std::move(up));
}

Descriptor TreeVisitor::open(int folder, const std::string& name) { return openDirectory(folder, name.c_str()); }

std::vector<std::string> TreeVisitor::enter(int directory, const std::string& name) {
  return listNames(directory, name);
}

void visitTree(int folder, const std::string& name, TreeVisitor& visitor) { Traversal(folder, name, visitor).run(); }

}  // namespace brindlewick::posix
