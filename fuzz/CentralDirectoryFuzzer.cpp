// Whatever the bytes of an archive, its directory is read to the end or refused.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "ditto/ArchiveFile.h"
#include "ditto/ArchiveRules.h"
#include "ditto/CentralDirectory.h"
#include "ditto/Refusal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick::ditto;
  const int file = memfd_create("archive", MFD_CLOEXEC);
  if (file < 0) __builtin_trap();
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = write(file, data + done, size - done);
    if (count <= 0) __builtin_trap();
    done += static_cast<std::size_t>(count);
  }
  try {
    const ArchiveFile archive(file);
    const auto entries = readCentralDirectory(archive);
    std::uint64_t end = 0;
    for (const ArchiveEntry& entry : entries) {
      // Records that pass do not overlap, so that their sizes cannot add up to more than the file.
      if (entry.offset < end || entry.compressedByteCount > size - entry.offset) __builtin_trap();
      end = entry.offset + entry.compressedByteCount;
    }
    if (checkedItems(entries).size() != entries.size()) __builtin_trap();
  } catch (const Refusal&) {
  }
  return 0;
}
