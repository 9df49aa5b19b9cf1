#include "platform/linux/codesign/SealedFiles.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

constexpr std::size_t pieceByteCount = 128 << 10;

/// More do not hash faster than a disk can read.
constexpr std::size_t maximumThreadCount = 4;
/// For fewer files another thread is not worth its start.
constexpr std::size_t fileCountPerThread = 64;

std::size_t threadCountFor(std::size_t fileCount) {
  const std::size_t processorCount = std::max(1U, std::thread::hardware_concurrency());
  return std::min({processorCount, maximumThreadCount, 1 + fileCount / fileCountPerThread});
}

/// What one thread needs to hash files, one after the other.
class FileComparison {
 public:
  explicit FileComparison(std::span<const HashType> types) : buffer_(pieceByteCount) {
    for (const HashType type : types) hashers_.emplace_back(type);
  }

  void requireUnchanged(FileSource file, const SealedEntry& entry) {
    for (std::uint64_t offset = 0; offset < file.size();) {
      const auto piece = std::span(buffer_).first(
          static_cast<std::size_t>(std::min<std::uint64_t>(file.size() - offset, pieceByteCount)));
      file.readInto(piece, offset);
      for (CodeHasher& hasher : hashers_) hasher.update(piece);
      offset += piece.size();
    }
    for (CodeHasher& hasher : hashers_)
      require(hasher.finish().equals(entry.hash(hasher.type())), "a sealed file is unchanged");
  }

 private:
  std::vector<CodeHasher> hashers_;
  Bytes buffer_;
};

/// The first failure of several threads.
class FirstFailure {
 public:
  void keepCurrent() {
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = std::current_exception();
  }
  void rethrow() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::mutex mutex_;
  std::exception_ptr failure_;
};

/// Runs the work on this thread and on others, as far as the system has them to give, until all have done it.
void share(std::size_t threadCount, const std::function<void()>& work) {
  std::vector<std::jthread> helpers;
  helpers.reserve(threadCount);
  try {
    while (helpers.size() + 1 < threadCount) helpers.emplace_back(work);
  } catch (const std::system_error&) {
  }
  work();
}

}  // namespace

void SealedFiles::verify(const Folder& base, std::span<const HashType> hashTypes) const {
  std::atomic<std::size_t> next = 0;
  FirstFailure failure;
  share(threadCountFor(files_.size()), [&] {
    try {
      FileComparison comparison(hashTypes);
      for (std::size_t i = next++; i < files_.size(); i = next++)
        comparison.requireUnchanged(base.file(*files_[i].path), files_[i].entry);
    } catch (...) {
      failure.keepCurrent();
      next = files_.size();  // nothing is left for the others
    }
  });
  failure.rethrow();
}

}  // namespace brindlewick::codesign
