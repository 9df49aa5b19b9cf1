#include "support/FaultyFileSystem.h"

#include "platform/PlatformError.h"

namespace brindlewick::testing {

class FaultyItem final : public OpenItem {
 public:
  FaultyItem(FaultyFileSystem& owner, std::unique_ptr<OpenItem> real, std::string name)
      : owner_(owner), real_(std::move(real)), name_(std::move(name)) {}

  [[nodiscard]] const FileAttributes& attributes() const noexcept override { return real_->attributes(); }
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> buffer) override {
    return owner_.perform("read", name_, [&] { return real_->read(buffer); });
  }

 private:
  FaultyFileSystem& owner_;
  std::unique_ptr<OpenItem> real_;
  std::string name_;
};

void FaultyFileSystem::add(const std::string& operation, int number, When when, std::function<void()> action) {
  rules_.push_back({operation, number, when, std::move(action)});
}

std::function<void()> FaultyFileSystem::failure(const std::string& operation, std::errc code) {
  return [operation, code] { throw PlatformError(operation, "by order of the test", std::make_error_code(code)); };
}

void FaultyFileSystem::fail(const std::string& operation, int number, std::errc code) {
  add(operation, number, When::before, failure(operation, code));
}

void FaultyFileSystem::failAfterwards(const std::string& operation, int number, std::errc code) {
  add(operation, number, When::after, failure(operation, code));
}

void FaultyFileSystem::runBefore(const std::string& operation, int number, std::function<void()> action) {
  add(operation, number, When::before, std::move(action));
}

void FaultyFileSystem::runAfter(const std::string& operation, int number, std::function<void()> action) {
  add(operation, number, When::after, std::move(action));
}

void FaultyFileSystem::apply(const std::string& operation, When when) {
  std::function<void()> chosen;
  for (auto& rule : rules_) {
    if (rule.when != when || (rule.operation != operation && rule.operation != "any")) continue;
    if (++rule.seen == rule.number) chosen = rule.action;
  }
  if (!chosen) return;
  hit_ = operation;
  chosen();
}

std::optional<FileAttributes> FaultyFileSystem::attributes(const Path& path) {
  auto found = perform("attributes", path.string(), [&] { return real_.attributes(path); });
  if (found && !tellsItemsApart_) found->identity = {};
  return found;
}

std::unique_ptr<OpenItem> FaultyFileSystem::open(const Path& path, FinalLink link) {
  const char* const operation = link == FinalLink::refused ? "open" : "openFollowingLinks";
  auto item = perform(operation, path.string(), [&] { return real_.open(path, link); });
  return std::make_unique<FaultyItem>(*this, std::move(item), path.string());
}

std::vector<std::string> FaultyFileSystem::list(const Path& directory) {
  return perform("list", directory.string(), [&] { return real_.list(directory); });
}

std::vector<TreeItem> FaultyFileSystem::walk(const Path& root) {
  return perform("walk", root.string(), [&] { return real_.walk(root); });
}

bool FaultyFileSystem::isWritable(const Path& directory) {
  return perform("isWritable", directory.string(), [&] { return !deniesWriting_ && real_.isWritable(directory); });
}

void FaultyFileSystem::createDirectory(const Path& path, unsigned permissions) {
  perform("createDirectory", path.string(), [&] { real_.createDirectory(path, permissions); });
}

void FaultyFileSystem::createDirectories(const Path& path, unsigned permissions) {
  perform("createDirectories", path.string(), [&] { real_.createDirectories(path, permissions); });
}

void FaultyFileSystem::setPermissions(const Path& path, unsigned permissions) {
  perform("setPermissions", path.string(), [&] { real_.setPermissions(path, permissions); });
}

void FaultyFileSystem::writeAtomically(const Path& path, ByteView content, unsigned permissions) {
  perform("writeAtomically", path.string(), [&] { real_.writeAtomically(path, content, permissions); });
}

void FaultyFileSystem::move(const Path& from, const Path& to) {
  perform("move", from.string() + " " + to.string(), [&] { real_.move(from, to); });
}

void FaultyFileSystem::exchange(const Path& one, const Path& other) {
  perform("exchange", one.string() + " " + other.string(), [&] { real_.exchange(one, other); });
}

void FaultyFileSystem::copyTree(const Path& from, const Path& to) {
  perform("copyTree", from.string() + " " + to.string(), [&] { real_.copyTree(from, to); });
}

void FaultyFileSystem::removeTree(const Path& path) {
  perform("removeTree", path.string(), [&] { real_.removeTree(path); });
}

void FaultyFileSystem::sync(const Path& path, Extent extent) {
  perform(extent == Extent::item ? "sync" : "syncTree", path.string(), [&] { real_.sync(path, extent); });
}

std::unique_ptr<DirectoryLock> FaultyFileSystem::tryLock(const Path& directory) {
  return perform("tryLock", directory.string(), [&] { return real_.tryLock(directory); });
}

Path FaultyFileSystem::createTemporaryDirectory(const Path& destination) {
  return perform("createTemporaryDirectory", destination.string(),
                 [&] { return real_.createTemporaryDirectory(destination); });
}

}  // namespace brindlewick::testing
