// Whatever the bytes of an archive, its directory is read to the end or refused.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include "ditto/ArchiveFile.h"
#include "ditto/ArchiveRules.h"
#include "ditto/CentralDirectory.h"
#include "ditto/NameOrder.h"
#include "ditto/Refusal.h"

namespace {

using namespace brindlewick::ditto;

/// A folder is planned once, and after the one that holds it.
void checkPlan(const FolderPlan& plan) {
  std::set<std::string> planned;
  for (std::size_t entry = 0; entry < plan.entryCount(); ++entry)
    for (const PlannedFolder& folder : plan.foldersOf(entry)) {
      const auto slash = folder.path.rfind('/');
      if (slash != std::string::npos && !planned.contains(folder.path.substr(0, slash))) __builtin_trap();
      if (!planned.insert(folder.path).second) __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
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
    const auto items = checkedItems(entries);
    if (items.size() != entries.size()) __builtin_trap();
    checkPlan(FolderPlan(items));
  } catch (const Refusal&) {
  }
  return 0;
}
