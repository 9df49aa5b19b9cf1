#pragma once

#include <ctime>
#include <memory>

#include "ArchiveFile.h"
#include "ArchiveRules.h"
#include "platform/Bytes.h"

struct archive;

namespace brindlewick::ditto {

/// Unpacks the entries one after the other, in the order of their local records. libarchive does the unpacking and
/// finds the entries in the central directory on its own; where it sees another entry than the one expected, the
/// archive is refused.
class EntryReader {
 public:
  explicit EntryReader(const ArchiveFile& archive);

  /// Goes on to the next entry, which has to be this one, and answers when it was last modified. Throws Refusal.
  [[nodiscard]] timespec next(const Item& expected);

  /// The next bytes of the entry, valid until the next call; empty at its end. Throws Refusal when the data is damaged
  /// or longer or shorter than declared.
  [[nodiscard]] ByteView read();

  /// Throws Refusal when there is one more entry.
  void expectEnd();

 private:
  struct Release {
    void operator()(archive* reader) const;
  };

  std::unique_ptr<archive, Release> reader_;
  std::uint64_t remainingByteCount_ = 0;
};

}  // namespace brindlewick::ditto
