#pragma once

#include "platform/FileSystem.h"

namespace brindlewick {

/// The disk through POSIX calls; what differs between systems is declared in FileCopy.h.
class PosixFileSystem final : public FileSystem {
 public:
  [[nodiscard]] std::optional<FileAttributes> attributes(const Path& path) override;
  [[nodiscard]] std::unique_ptr<OpenItem> open(const Path& path, FinalLink link) override;
  [[nodiscard]] std::vector<std::string> list(const Path& directory) override;
  [[nodiscard]] std::vector<TreeItem> walk(const Path& root) override;
  [[nodiscard]] bool isWritable(const Path& directory) override;
  void createDirectory(const Path& path, unsigned permissions) override;
  void createDirectories(const Path& path, unsigned permissions) override;
  void setPermissions(const Path& path, unsigned permissions) override;
  void writeAtomically(const Path& path, ByteView content, unsigned permissions) override;
  void move(const Path& from, const Path& to) override;
  void exchange(const Path& one, const Path& other) override;
  void copyTree(const Path& from, const Path& to) override;
  void removeTree(const Path& path) override;
  void sync(const Path& path, Extent extent) override;
  [[nodiscard]] std::unique_ptr<DirectoryLock> tryLock(const Path& directory) override;
  [[nodiscard]] Path createTemporaryDirectory(const Path& destination) override;
};

}  // namespace brindlewick
