#pragma once

#include "platform/FileSystem.h"

namespace brindlewick {

/// A file taken over from an owner that is about to delete it. It lies with mode 0600 in a fresh private directory for
/// temporary files; both are removed unless they are handed on.
class TakenFile {
 public:
  /// `destination` says where the file will go. Throws PlatformError, and then nothing of ours remains.
  TakenFile(FileSystem& files, const Path& owned, const Path& destination);
  ~TakenFile();
  TakenFile(const TakenFile&) = delete;
  TakenFile& operator=(const TakenFile&) = delete;

  /// Gives the file and its directory (`parent()`) to the caller.
  [[nodiscard]] Path handOn() noexcept;

 private:
  void discard() noexcept;

  FileSystem& files_;
  Path file_;
  bool isOurs_ = true;
};

}  // namespace brindlewick
