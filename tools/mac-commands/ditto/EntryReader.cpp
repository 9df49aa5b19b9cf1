#include "EntryReader.h"

#include <archive.h>
#include <archive_entry.h>

#include <string>
#include <string_view>

#include "Refusal.h"

namespace brindlewick::ditto {
namespace {

constexpr std::size_t blockByteCount = 64 * 1024;

[[noreturn]] void refuse(archive* reader) {
  const char* reason = archive_error_string(reader);
  throw Refusal(reason != nullptr ? reason : "the archive is damaged");
}

bool describesItem(archive_entry* entry, const Item& item) {
  const char* name = archive_entry_pathname_utf8(entry);
  if (name == nullptr) return false;
  std::string_view path = name;
  const bool isFolder = item.kind == Item::Kind::folder;
  if (isFolder && path.ends_with('/')) path.remove_suffix(1);
  // By key: libarchive composes the characters of a name.
  return comparisonKey(path) == comparisonKey(item.path) &&
         archive_entry_filetype(entry) == static_cast<mode_t>(isFolder ? AE_IFDIR : AE_IFREG) &&
         archive_entry_symlink(entry) == nullptr && archive_entry_hardlink(entry) == nullptr &&
         archive_entry_is_encrypted(entry) == 0 &&
         static_cast<std::uint64_t>(archive_entry_size(entry)) == item.byteCount;
}

}  // namespace

void EntryReader::Release::operator()(archive* reader) const { archive_read_free(reader); }

EntryReader::EntryReader(const ArchiveFile& archive) : reader_(archive_read_new()) {
  if (!reader_) throw std::bad_alloc();
  // The seeking reader only: the other one walks the local records.
  if (archive_read_support_format_zip_seekable(reader_.get()) != ARCHIVE_OK ||
      archive_read_set_format_option(reader_.get(), "zip", "hdrcharset", "UTF-8") != ARCHIVE_OK ||
      archive_read_open_fd(reader_.get(), archive.descriptor(), blockByteCount) != ARCHIVE_OK)
    refuse(reader_.get());
}

timespec EntryReader::next(const Item& expected) {
  archive_entry* entry = nullptr;
  if (archive_read_next_header(reader_.get(), &entry) != ARCHIVE_OK) refuse(reader_.get());
  if (!describesItem(entry, expected)) throw Refusal("two readers of the archive see different entries");
  remainingByteCount_ = expected.byteCount;
  if (archive_entry_mtime_is_set(entry) == 0) return {.tv_sec = 0, .tv_nsec = UTIME_NOW};
  return {.tv_sec = archive_entry_mtime(entry), .tv_nsec = archive_entry_mtime_nsec(entry)};
}

ByteView EntryReader::read() {
  const void* block = nullptr;
  std::size_t byteCount = 0;
  la_int64_t offset = 0;
  const int status = archive_read_data_block(reader_.get(), &block, &byteCount, &offset);
  if (status == ARCHIVE_EOF && remainingByteCount_ == 0) return {};
  if (status == ARCHIVE_EOF) throw Refusal("the data of an entry is shorter than declared");
  // A wrong checksum is no more than a warning to libarchive.
  if (status != ARCHIVE_OK) refuse(reader_.get());
  if (byteCount > remainingByteCount_) throw Refusal("the data of an entry is longer than declared");
  remainingByteCount_ -= byteCount;
  if (byteCount == 0) return read();
  return {static_cast<const std::uint8_t*>(block), byteCount};
}

void EntryReader::expectEnd() {
  archive_entry* entry = nullptr;
  if (archive_read_next_header(reader_.get(), &entry) != ARCHIVE_EOF)
    throw Refusal("two readers of the archive see different entries");
}

}  // namespace brindlewick::ditto
