#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <deque>
#include <string>

#include "platform/Bytes.h"

namespace brindlewick::ditto {

/// A descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(other.number_) { other.number_ = -1; }
  Descriptor& operator=(Descriptor&& other) noexcept;
  [[nodiscard]] int number() const noexcept { return number_; }

 private:
  int number_;
};

/// The folder into which an archive is expanded. Everything is created in it, exclusively, by walking from folder to
/// folder without following links. Unless `keep` is called, a folder that was not there before is removed again.
///
/// All operations take paths relative to the folder and throw std::system_error, a name that exists already being one;
/// those that remove do not throw.
class TargetFolder {
 public:
  /// Opens the folder; creates it, with mode 0755 less the process's mask, when there is none.
  explicit TargetFolder(const std::string& path);
  ~TargetFolder();
  TargetFolder(const TargetFolder&) = delete;
  TargetFolder& operator=(const TargetFolder&) = delete;

  [[nodiscard]] std::uint64_t freeByteCount() const;

  /// Creates a folder that only its owner may use yet.
  void createFolder(const std::string& path);
  /// Creates an empty file that only its owner may use yet, open for writing.
  [[nodiscard]] Descriptor createFile(const std::string& path);
  /// Gives a folder its final mode and, unless null, its time of modification.
  void finishFolder(const std::string& path, mode_t mode, const timespec* modified);

  /// Gives a folder back to its owner.
  void reopenFolder(const std::string& path) noexcept;
  void removeFile(const std::string& path) noexcept { remove(path, 0); }
  void removeFolder(const std::string& path) noexcept;

  void keep() noexcept { kept_ = true; }

 private:
  struct OpenFolder {
    std::size_t pathByteCount;
    Descriptor folder;
  };

  /// The open folder of this path. It and those around it are remembered: the next item mostly lies near it.
  [[nodiscard]] const Descriptor& folderAt(const std::string& path);
  [[nodiscard]] int parentOf(const std::string& path);
  void remove(const std::string& path, int flags) noexcept;

  std::string path_;
  bool isNew_ = false;
  Descriptor root_;
  std::string openPath_;
  std::deque<OpenFolder> open_;  ///< the last of those on that path, the deepest at the end
  bool kept_ = false;
};

/// Gives an open file or folder its final mode and time; null leaves the time alone. Throws std::system_error.
void setAttributes(const Descriptor& item, mode_t mode, const timespec* modified);

/// Writes all bytes. Throws std::system_error.
void writeAll(const Descriptor& file, ByteView bytes);

}  // namespace brindlewick::ditto
