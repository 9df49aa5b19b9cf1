#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

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
/// folder without following links. What was created is removed again unless `keep` is called.
///
/// All operations take paths relative to the folder and throw std::system_error; a name that exists already is one.
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

  void keep() noexcept { kept_ = true; }

 private:
  struct Created {
    std::string path;
    bool isFolder;
  };

  [[nodiscard]] Descriptor openFolder(const std::string& path) const;
  /// The open folder that holds this path; remembered, since the next item mostly lies in the same one.
  [[nodiscard]] int parentOf(const std::string& path);
  void removeCreated() noexcept;

  std::string path_;
  bool isNew_ = false;
  Descriptor root_;
  std::string lastParent_;
  Descriptor lastParentFolder_{-1};
  std::vector<Created> created_;
  bool kept_ = false;
};

/// Gives an open file or folder its final mode and time; null leaves the time alone. Throws std::system_error.
void setAttributes(const Descriptor& item, mode_t mode, const timespec* modified);

/// Writes all bytes. Throws std::system_error.
void writeAll(const Descriptor& file, ByteView bytes);

}  // namespace brindlewick::ditto
