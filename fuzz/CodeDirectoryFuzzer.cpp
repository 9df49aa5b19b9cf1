// A CodeDirectory and every hash in it.

#include "platform/linux/codesign/CodeDirectory.h"
#include "platform/linux/codesign/Refusal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick::codesign;
  try {
    const CodeDirectory directory = CodeDirectory::parse(brindlewick::ByteView(data, size));
    for (std::uint64_t page = 0; page < directory.pageCount; ++page) static_cast<void>(directory.pageHash(page));
    for (std::uint32_t slot = 1; slot <= directory.specialSlotCount; ++slot)
      static_cast<void>(directory.specialHash(slot));
  } catch (const Refusal&) {
  }
  return 0;
}
