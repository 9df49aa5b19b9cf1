#include "platform/linux/codesign/CodePages.h"

#include <algorithm>

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

/// A multiple of every page size, small enough to stay in a processor's cache while each directory hashes it.
constexpr std::size_t pieceByteCount = 256 << 10;

/// Hashes the pages of one directory, piece after piece.
class PageVerifier {
 public:
  explicit PageVerifier(const CodeDirectory& directory) : directory_(directory), hasher_(directory.hashType) {}

  /// Every piece but the last holds whole pages.
  void take(ByteView piece) {
    while (!piece.empty()) {
      const auto page = piece.first(std::min<std::size_t>(piece.size(), directory_.pageByteCount));
      hasher_.update(page);
      require(hasher_.finish().equals(directory_.pageHash(nextPage_++)), "a page of code is what was signed");
      piece = piece.subspan(page.size());
    }
  }

 private:
  const CodeDirectory& directory_;
  CodeHasher hasher_;
  std::uint64_t nextPage_ = 0;
};

}  // namespace

void verifyPages(ByteSource& file, const MachOSlice& slice, std::span<const CodeDirectory> directories) {
  std::vector<PageVerifier> verifiers(directories.begin(), directories.end());
  const std::uint64_t limit = directories.front().codeLimit;
  Bytes buffer(static_cast<std::size_t>(std::min<std::uint64_t>(limit, pieceByteCount)));
  for (std::uint64_t offset = 0; offset < limit; offset += pieceByteCount) {
    const auto piece =
        std::span(buffer).first(static_cast<std::size_t>(std::min(limit - offset, std::uint64_t{pieceByteCount})));
    file.readInto(piece, slice.range.offset + offset);
    if (offset < slice.head.size()) {
      const auto known = ByteView(slice.head).subspan(static_cast<std::size_t>(offset));
      std::copy_n(known.begin(), std::min(known.size(), piece.size()), piece.begin());
    }
    for (PageVerifier& verifier : verifiers) verifier.take(piece);
  }
}

}  // namespace brindlewick::codesign
