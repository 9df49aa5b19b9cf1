#include "signing/PrivateKeyFile.h"

#include "platform/TextCoding.h"
#include "signing/OfflineManifestSigningError.h"

namespace brindlewick {
namespace {

using enum OfflineManifestSigningError;

constexpr unsigned groupAndOthers = 077;
constexpr std::size_t rawByteCount = 32;
/// More white space than this around a key is not a key file.
constexpr std::size_t maximumByteCount = 4096;

/// Everything in the file, in locked memory from the first byte on.
SecretBytes readSecret(OpenItem& item) {
  SecretBytes content(maximumByteCount + 1);
  std::size_t byteCount = 0;
  while (byteCount < content.size()) {
    const auto count = item.read(content.writable().subspan(byteCount));
    if (count == 0) break;
    byteCount += count;
  }
  require(byteCount <= maximumByteCount, malformedPrivateKey);
  SecretBytes exact(byteCount);
  std::ranges::copy(content.view().first(byteCount), exact.writable().begin());
  return exact;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\n\v\f\r";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

Ed25519PrivateKey PrivateKeyFile::read(FileSystem& files, const Path& file, std::uint32_t effectiveUser) {
  const auto item = files.open(file, FinalLink::refused);
  const auto& attributes = item->attributes();
  require(attributes.kind == FileKind::regular, unsafePrivateKeyFile);
  require((attributes.permissions & groupAndOthers) == 0, unsafePrivateKeyFile);
  require(attributes.owner == effectiveUser, unsafePrivateKeyFile);

  const auto content = readSecret(*item);
  // 32 bytes are the key itself, even if they happen to be printable.
  if (content.size() == rawByteCount) return unwrap(Ed25519PrivateKey::fromSeed(content.view()), malformedPrivateKey);
  const auto seed = unwrap(decodeSecretBase64(trimmed(asText(content.view()))), malformedPrivateKey);
  return unwrap(Ed25519PrivateKey::fromSeed(seed.view()), malformedPrivateKey);
}

}  // namespace brindlewick
