#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Bytes.h"
#include "platform/Path.h"

namespace brindlewick {

enum class FileKind { regular, directory, symbolicLink, other };

/// What the file system says of one item itself, never of what a link points to.
struct FileAttributes {
  FileKind kind = FileKind::other;
  std::uint64_t byteCount = 0;
  /// The twelve permission bits (07777).
  unsigned permissions = 0;
  /// Numeric user id.
  std::uint32_t owner = 0;
  /// What tells this item from all others for as long as it exists, whatever its name.
  struct Identity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;

    bool operator==(const Identity&) const = default;
  };
  Identity identity = {};
};

/// One item of the disk, opened without following a final link: what it is and what it holds come from the same
/// descriptor, so nobody can exchange the item between a check and the reading.
class OpenItem {
 public:
  virtual ~OpenItem() = default;

  [[nodiscard]] virtual const FileAttributes& attributes() const noexcept = 0;

  /// Fills `buffer` with the next bytes; returns how many, 0 at the end. Throws PlatformError for what cannot be read:
  /// a directory, a link, a file without read permission, a failing disk.
  [[nodiscard]] virtual std::size_t read(std::span<std::uint8_t> buffer) = 0;
};

/// What becomes of a link at the end of a path.
enum class FinalLink {
  refused,
  /// For what the user names on the command line and nobody else can reach.
  followed,
};

/// How much of an item is made durable.
enum class Extent {
  /// A file's content, or a directory's list of names; a link is followed.
  item,
  /// An item with all below it, and the folder that holds it.
  tree,
};

/// The lock of a directory, given back at the end of its life or of the process.
class DirectoryLock {
 public:
  virtual ~DirectoryLock() = default;
};

/// One item met on a walk through a tree: its place relative to the tree's root, and its kind.
struct TreeItem {
  std::string relativePath;
  FileKind kind;
};

/// The disk. Every operation throws PlatformError when the system refuses; each says what a failure leaves behind.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// The item itself, a final link not followed; nothing when there is no such item.
  [[nodiscard]] virtual std::optional<FileAttributes> attributes(const Path& path) = 0;

  /// Opens without waiting (for the writer of a pipe, say). An item that exists but cannot be opened, such as a link
  /// that is refused, still has its attributes; reading it throws. Nothing at `path` throws.
  [[nodiscard]] virtual std::unique_ptr<OpenItem> open(const Path& path, FinalLink link) = 0;

  /// The names directly inside a directory, sorted, "." and ".." aside. A final link is not followed.
  [[nodiscard]] virtual std::vector<std::string> list(const Path& directory) = 0;

  /// Every item below `root`, each directory before its contents, links reported and never followed.
  [[nodiscard]] virtual std::vector<TreeItem> walk(const Path& root) = 0;

  /// Whether this process may create and remove items in a directory.
  [[nodiscard]] virtual bool isWritable(const Path& directory) = 0;

  /// Creates one directory with exactly these permissions, whatever the umask. What exists is an error.
  virtual void createDirectory(const Path& path, unsigned permissions) = 0;

  /// Creates a directory and the missing ones above it, the created ones with these permissions. An existing directory
  /// is no error.
  virtual void createDirectories(const Path& path, unsigned permissions) = 0;

  /// Sets the permissions of the item itself; a final link is refused.
  virtual void setPermissions(const Path& path, unsigned permissions) = 0;

  /// Writes a file whole or not at all: a temporary file beside the target gets its permissions before its content, is
  /// synced, and is renamed over the target; then the folder is synced. A failure leaves no temporary file and the
  /// target as it was. That the folder cannot be synced is none: the new content is in its place.
  virtual void writeAtomically(const Path& path, ByteView content, unsigned permissions) = 0;

  /// Moves an item. Never replaces: an existing `to` fails with std::errc::file_exists. Across file systems a regular
  /// file is copied to a hidden name beside `to`, synced and renamed before the source is removed; a directory is
  /// refused. A failure leaves `from` in place and nothing at `to`. Not synced: see `sync`. Where the file system
  /// cannot refuse to replace, what somebody puts at `to` in the last moment may be lost, if it is a file or an empty
  /// directory.
  virtual void move(const Path& from, const Path& to) = 0;

  /// Exchanges two items of one file system in one step: at no moment is one of the names free. A failure leaves both
  /// in place. Not every file system can do it. Not synced.
  virtual void exchange(const Path& one, const Path& other) = 0;

  /// Copies a tree of directories, regular files and links (as links) with permissions, times and extended
  /// attributes, sharing blocks where the file system can. An existing `to` is an error. A failure may leave a part of
  /// the copy at `to`.
  virtual void copyTree(const Path& from, const Path& to) = 0;

  /// Removes an item with everything below it, never following a link. The item first gets a hidden name in the same
  /// folder, so that its place is free even if something inside cannot be removed; where it cannot, it goes in its
  /// place. Folders in it that are closed to us are opened. A failure has removed whatever could be. Nothing at `path`
  /// is none.
  virtual void removeTree(const Path& path) = 0;

  /// Makes an item durable, or a tree. That a file system cannot do this for directories is no failure.
  virtual void sync(const Path& path, Extent extent) = 0;

  /// Asks once for the lock of a directory, which binds only those who ask for it too. Nothing while somebody else has
  /// it. Throws where there is none to have: not every file system has such locks.
  [[nodiscard]] virtual std::unique_ptr<DirectoryLock> tryLock(const Path& directory) = 0;

  /// Creates a fresh private directory (mode 0700) for temporary files: where possible on the file system of
  /// `destination`, so that a move there is a rename, and otherwise on disk. `destination` itself is a place only if it
  /// is a directory that belongs to this user and is closed to others; it is not changed, nor created.
  [[nodiscard]] virtual Path createTemporaryDirectory(const Path& destination) = 0;
};

}  // namespace brindlewick
