#include "staging/ArtifactHasher.h"

#include <vector>

#include "platform/Digest.h"
#include "platform/TextCoding.h"

namespace brindlewick {

std::string ArtifactHasher::sha256Hex(OpenItem& file) {
  // Small enough to be hashed while it is still in the processor's cache.
  constexpr std::size_t chunkByteCount = 262'144;
  std::vector<std::uint8_t> chunk(chunkByteCount);
  SHA256 digest;
  while (const auto count = file.read(chunk)) digest.update(ByteView(chunk).first(count));
  return encodeHex(digest.finish());
}

std::string ArtifactHasher::sha256Hex(FileSystem& files, const Path& file) {
  return sha256Hex(*files.open(file, FinalLink::followed));
}

}  // namespace brindlewick
