#pragma once

#include <cstdint>

#include "platform/Bytes.h"

namespace brindlewick::ditto {

/// The archive, opened once: every check and every byte that is expanded comes from this one descriptor.
class ArchiveFile {
 public:
  /// Opens a regular file for reading. Throws Refusal, or std::system_error.
  explicit ArchiveFile(const char* path);
  /// Takes over a descriptor.
  explicit ArchiveFile(int descriptor);
  ~ArchiveFile();
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;

  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  [[nodiscard]] std::uint64_t byteCount() const noexcept { return byteCount_; }

  /// The bytes of a range. Throws Refusal when the range is not wholly inside the file.
  [[nodiscard]] Bytes read(std::uint64_t offset, std::uint64_t byteCount) const;

 private:
  int descriptor_;
  std::uint64_t byteCount_ = 0;
};

}  // namespace brindlewick::ditto
