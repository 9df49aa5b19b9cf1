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
  posix::writeAll(descriptor_.get(), bytes, file_.string());
  byteCount_ += bytes.size();
  // The disk starts while more arrives, so that the sync before the answer finds little to do.
  constexpr std::uint64_t stepByteCount = 8U << 20;
  if (byteCount_ - writtenBackByteCount_ >= stepByteCount) {
    posix::beginWriteBack(descriptor_.get());
    writtenBackByteCount_ = byteCount_;
  }
}

Path TemporaryDownload::handOn() {
  isOurs_ = false;
  descriptor_.reset();
  return file_;
}

}  // namespace brindlewick
