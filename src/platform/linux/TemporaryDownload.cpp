#include "platform/linux/TemporaryDownload.h"

#include <fcntl.h>

#include "platform/PlatformError.h"
#include "platform/posix/FileCopy.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick {

TemporaryDownload::TemporaryDownload(FileSystem& files, const Path& destination)
    : files_(files), file_(files.createTemporaryDirectory(destination) / "download") {
  try {
    descriptor_ = posix::createFile(AT_FDCWD, file_.c_str(), 0600);
  } catch (...) {
    files_.removeTree(file_.parent());
    throw;
  }
}

TemporaryDownload::~TemporaryDownload() {
  if (!isOurs_) return;
  try {
    files_.removeTree(file_.parent());
  } catch (const PlatformError&) {
    // Nothing is left to be done about it.
  }
}

void TemporaryDownload::write(ByteView bytes) {
  constexpr std::size_t pieceByteCount = 262'144;
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  byteCount_ += bytes.size();
  if (pending_.size() >= pieceByteCount) flush();
}

void TemporaryDownload::flush() {
  posix::writeAll(descriptor_.get(), pending_, file_.string());
  pending_.clear();
  // The disk starts while more arrives, so that the sync before the answer finds little to do.
  constexpr std::uint64_t stepByteCount = 8U << 20;
  if (byteCount_ - writtenBackByteCount_ >= stepByteCount) {
    posix::beginWriteBack(descriptor_.get());
    writtenBackByteCount_ = byteCount_;
  }
}

Path TemporaryDownload::handOn() {
  flush();
  isOurs_ = false;
  descriptor_.reset();
  return file_;
}

}  // namespace brindlewick
