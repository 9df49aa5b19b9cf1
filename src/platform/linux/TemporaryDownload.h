#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/Descriptor.h"

namespace brindlewick {

/// A file with mode 0600 in a fresh private folder; both are removed unless they are handed on.
class TemporaryDownload {
 public:
  TemporaryDownload(FileSystem& files, const Path& destination);
  ~TemporaryDownload();
  TemporaryDownload(const TemporaryDownload&) = delete;
  TemporaryDownload& operator=(const TemporaryDownload&) = delete;

  void write(ByteView bytes);
  [[nodiscard]] std::uint64_t byteCount() const noexcept { return byteCount_; }

  /// Gives file and folder to the caller.
  [[nodiscard]] Path handOn();

 private:
  FileSystem& files_;
  Path file_;
  Descriptor descriptor_;
  std::uint64_t byteCount_ = 0;
  std::uint64_t writtenBackByteCount_ = 0;
  bool isOurs_ = true;
};

}  // namespace brindlewick
