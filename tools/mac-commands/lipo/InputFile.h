#pragma once

#include <cstdint>

#include "platform/Bytes.h"

namespace brindlewick::lipo {

/// The file, opened once; only the ranges that are asked for are read.
class InputFile {
 public:
  /// Opens a regular file for reading. Throws Refusal, or std::system_error.
  explicit InputFile(const char* path);
  /// Takes over a descriptor.
  explicit InputFile(int descriptor);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  [[nodiscard]] std::uint64_t byteCount() const noexcept { return byteCount_; }

  /// Whether a range lies wholly inside the file.
  [[nodiscard]] bool contains(std::uint64_t offset, std::uint64_t byteCount) const noexcept;
  /// The bytes of a range. Throws Refusal when it is not wholly inside the file.
  [[nodiscard]] Bytes read(std::uint64_t offset, std::uint64_t byteCount) const;

 private:
  int descriptor_;
  std::uint64_t byteCount_ = 0;
};

}  // namespace brindlewick::lipo
