#pragma once

#include <span>
#include <string>
#include <vector>

#include "platform/linux/codesign/CodeHash.h"
#include "platform/linux/codesign/Folder.h"
#include "platform/linux/codesign/SealedEntry.h"

namespace brindlewick::codesign {

/// The files of a bundle that have to be what they were when they were sealed. Most of a validation is spent on hashing
/// them, so that several threads share it where there are many.
class SealedFiles {
 public:
  /// `path` is relative to the base. It and what the entry was made from must live until everything is verified.
  void add(const std::string& path, const SealedEntry& entry) { files_.push_back({&path, entry}); }

  /// Reads each file once and compares it under every type. Files are opened from `base`, component by component, no
  /// link is followed. Throws the first Refusal, or PlatformError for what cannot be read, when all threads have ended.
  void verify(const Folder& base, std::span<const HashType> hashTypes) const;

 private:
  struct File {
    const std::string* path;
    SealedEntry entry;
  };

  std::vector<File> files_;
};

}  // namespace brindlewick::codesign
