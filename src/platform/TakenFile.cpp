#include "platform/TakenFile.h"

#include <exception>

namespace brindlewick {

TakenFile::TakenFile(FileSystem& files, const Path& owned, const Path& destination)
    : files_(files), file_(files.createTemporaryDirectory(destination) / "download") {
  try {
    files_.move(owned, file_);
    files_.setPermissions(file_, 0600);
  } catch (...) {
    discard();
    throw;
  }
}

TakenFile::~TakenFile() {
  if (isOurs_) discard();
}

void TakenFile::discard() noexcept {
  try {
    files_.removeTree(file_.parent());
  } catch (const std::exception&) {
    // Nothing is left to be done about it.
  }
}

Path TakenFile::handOn() noexcept {
  isOurs_ = false;
  return std::move(file_);
}

}  // namespace brindlewick
