// The signature of one slice: its blobs, its directories, and what their special slots seal.

#include "platform/linux/codesign/EmbeddedSignature.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/SpecialSlots.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick::codesign;
  try {
    const EmbeddedSignature signature = EmbeddedSignature::parse(brindlewick::Bytes(data, data + size));
    verifySpecialSlots(signature, {});
  } catch (const Refusal&) {
  }
  return 0;
}
