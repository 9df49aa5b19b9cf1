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

  /// What arrives in small pieces is written in large ones.
  void write(ByteView bytes);
  [[nodiscard]] std::uint64_t byteCount() const noexcept { return byteCount_; }

  /// Gives the complete file and its folder to the caller.
  [[nodiscard]] Path handOn();

 private:
  void flush();

  FileSystem& files_;
  Path file_;
  Descriptor descriptor_;
  Bytes pending_;
  std::uint64_t byteCount_ = 0;
  std::uint64_t writtenBackByteCount_ = 0;
  bool isOurs_ = true;
};

}  // namespace brindlewick
