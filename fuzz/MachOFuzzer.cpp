// A Mach-O file and, where its structure holds, the signature and the pages of every slice.

#include "platform/linux/codesign/CodePages.h"
#include "platform/linux/codesign/EmbeddedSignature.h"
#include "platform/linux/codesign/MachO.h"
#include "platform/linux/codesign/Refusal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick::codesign;
  MemorySource source(brindlewick::ByteView(data, size));
  try {
    forEachSlice(source, [&](const MachOSlice& slice) {
      const EmbeddedSignature signature = EmbeddedSignature::read(source, slice);
      if (signature.best().codeLimit == slice.signature.offset) verifyPages(source, slice, signature.directories());
    });
  } catch (const Refusal&) {
  }
  return 0;
}
