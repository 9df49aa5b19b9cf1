#include "signing/PrivateKeyFile.h"

#include <algorithm>
#include <iterator>

#include "platform/TextCoding.h"
#include "signing/LockedWindow.h"
#include "signing/OfflineManifestSigningError.h"

namespace brindlewick {
namespace {

using enum OfflineManifestSigningError;

constexpr unsigned groupAndOthers = 077;
constexpr std::size_t rawByteCount = 32;
constexpr std::size_t base64ByteCount = 44;
/// A larger file is no key file, whatever stands in it.
constexpr std::size_t maximumByteCount = 1'048'576;

/// What Foundation counts as white space and line breaks, in UTF-8: tab to carriage return, the blank, U+0085, U+00A0,
/// U+1680, U+2000 to U+200B, U+2028, U+2029, U+202F, U+205F and U+3000.
constexpr std::string_view blanks[] = {"\n",           "\r",           " ",
                                       "\t",           "\v",           "\f",
                                       "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80",
                                       "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
                                       "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85",
                                       "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
                                       "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\x8B",
                                       "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF",
                                       "\xE2\x81\x9F", "\xE3\x80\x80"};
constexpr std::size_t longestBlank = 3;

void passBlanks(LockedWindow& file) {
  const auto startsWith = [](std::string_view text) { return [text](auto blank) { return text.starts_with(blank); }; };
  for (;;) {
    const auto* blank = std::ranges::find_if(blanks, startsWith(file.ahead(longestBlank)));
    if (blank == std::end(blanks)) return;
    file.pass(blank->size());
  }
}

/// The key that a file holds. Text that is not UTF-8 is neither a blank nor base64, and so needs no check of its own.
std::optional<Ed25519PrivateKey> keyIn(LockedWindow& file) {
  const auto start = file.ahead(rawByteCount + 1);
  // 32 bytes are the key itself, even if they happen to be printable.
  if (start.size() == rawByteCount) return Ed25519PrivateKey::fromSeed(asBytes(start));
  passBlanks(file);
  const auto text = file.ahead(base64ByteCount).substr(0, base64ByteCount);
  const auto seed = decodeSecretBase64(text);
  if (!seed) return std::nullopt;
  file.pass(text.size());
  passBlanks(file);
  return file.ahead(1).empty() ? Ed25519PrivateKey::fromSeed(seed->view()) : std::nullopt;
}

}  // namespace

Ed25519PrivateKey PrivateKeyFile::read(FileSystem& files, const Path& file, std::uint32_t effectiveUser) {
  const auto item = files.open(file, FinalLink::refused);
  const auto& attributes = item->attributes();
  require(attributes.kind == FileKind::regular, unsafePrivateKeyFile);
  require((attributes.permissions & groupAndOthers) == 0, unsafePrivateKeyFile);
  require(attributes.owner == effectiveUser, unsafePrivateKeyFile);

  LockedWindow window(*item, maximumByteCount);
  auto key = keyIn(window);
  // What cannot be read whole is an error of the disk, whatever its beginning says.
  require(window.passRest(), malformedPrivateKey);
  return unwrap(std::move(key), malformedPrivateKey);
}

}  // namespace brindlewick
