#include "platform/posix/PosixOpenItem.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/posix/Interruption.h"
#include "platform/posix/SystemCalls.h"

namespace brindlewick::posix {
namespace {

FileAttributes toAttributes(const struct stat& status) {
  return {kindOf(status.st_mode),
          static_cast<std::uint64_t>(status.st_size),
          static_cast<unsigned>(status.st_mode) & 07777U,
          static_cast<std::uint32_t>(status.st_uid),
          {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)}};
}

class OpenedItem final : public OpenItem {
 public:
  OpenedItem(Descriptor descriptor, FileAttributes attributes, std::string name)
      : descriptor_(std::move(descriptor)), attributes_(attributes), name_(std::move(name)) {}

  [[nodiscard]] const FileAttributes& attributes() const noexcept override { return attributes_; }

  [[nodiscard]] std::size_t read(std::span<std::uint8_t> buffer) override {
    throwIfInterrupted();
    if (attributes_.kind != FileKind::regular) throwErrno("read", name_, EINVAL);
    const auto count = uninterrupted([&] { return ::read(descriptor_.get(), buffer.data(), buffer.size()); });
    if (count < 0) throwErrno("read", name_);
    return static_cast<std::size_t>(count);
  }

 private:
  Descriptor descriptor_;
  FileAttributes attributes_;
  std::string name_;
};

/// What is there but could not be opened: its attributes are known, and reading it gives the reason.
class UnreadableItem final : public OpenItem {
 public:
  UnreadableItem(FileAttributes attributes, std::string name, int code)
      : attributes_(attributes), name_(std::move(name)), code_(code) {}

  [[nodiscard]] const FileAttributes& attributes() const noexcept override { return attributes_; }
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> /*buffer*/) override { throwErrno("open", name_, code_); }

 private:
  FileAttributes attributes_;
  std::string name_;
  int code_;
};

}  // namespace

std::unique_ptr<OpenItem> openItem(const Path& path, int followFlag) {
  Descriptor descriptor(
      uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | followFlag | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  if (!descriptor) {
    const int code = errno;
    const auto attributes = attributesOf(path);
    if (!attributes) throwErrno("open", path.string(), code);
    return std::make_unique<UnreadableItem>(*attributes, path.string(), code);
  }
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) throwErrno("examine", path.string());
  return std::make_unique<OpenedItem>(std::move(descriptor), toAttributes(status), path.string());
}

std::optional<FileAttributes> attributesOf(const Path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0) return toAttributes(status);
  if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
  throwErrno("examine", path.string());
}

}  // namespace brindlewick::posix
