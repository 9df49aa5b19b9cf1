#pragma once

#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "platform/FileSystem.h"
#include "support/EventLog.h"

namespace brindlewick::testing {

/// Forwards every call to the real file system, logs it, and breaks the chosen ones. An operation is named like the
/// function; "openFollowingLinks" and "syncTree" are `open` and `sync` of the other kind, "read" is the reading of an
/// open item, and "any" stands for each.
class FaultyFileSystem final : public FileSystem {
 public:
  FaultyFileSystem(FileSystem& real, EventLog& log) : real_(real), log_(log) {}

  /// The nth call from the first (1) on fails without doing anything.
  void fail(const std::string& operation, int number, std::errc code);
  /// The nth call does its work and then says that it failed.
  void failAfterwards(const std::string& operation, int number, std::errc code);
  /// Something else happens on the disk just before the nth call.
  void runBefore(const std::string& operation, int number, std::function<void()> action);
  void runAfter(const std::string& operation, int number, std::function<void()> action);
  /// Every directory counts as one that this process may not write to.
  void denyWriting() { deniesWriting_ = true; }

  /// From now on no item can be told from another, as on some file systems that are programs.
  void giveEverythingOneIdentity() noexcept { tellsItemsApart_ = false; }

  /// The operation that a fault has hit; empty while none has.
  [[nodiscard]] const std::string& hit() const noexcept { return hit_; }

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

 private:
  friend class FaultyItem;
  enum class When { before, after };
  struct Rule {
    std::string operation;
    int number;
    When when;
    std::function<void()> action;
    int seen = 0;
  };

  void add(const std::string& operation, int number, When when, std::function<void()> action);
  void apply(const std::string& operation, When when);
  std::function<void()> failure(const std::string& operation, std::errc code);

  /// One call: logged, then the rules before it, the call itself, and the rules after it.
  template <typename Call>
  auto perform(const std::string& operation, const std::string& subject, Call call) {
    log_.add(operation + " " + subject);
    apply(operation, When::before);
    if constexpr (std::is_void_v<decltype(call())>) {
      call();
      apply(operation, When::after);
    } else {
      auto result = call();
      apply(operation, When::after);
      return result;
    }
  }

  FileSystem& real_;
  EventLog& log_;
  std::vector<Rule> rules_;
  std::string hit_;
  bool deniesWriting_ = false;
  bool tellsItemsApart_ = true;
};

}  // namespace brindlewick::testing
