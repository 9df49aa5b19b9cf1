#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Bytes.h"
#include "platform/SecretBytes.h"

namespace brindlewick {

/// Standard base64 with padding and without line breaks (RFC 4648, section 4).
[[nodiscard]] std::string encodeBase64(ByteView bytes);

/// Strict: any character outside the alphabet (white space included), missing padding or a non-zero unused bit fails.
[[nodiscard]] std::optional<Bytes> decodeBase64(std::string_view text);

/// The same for secrets: neither the text nor the result leaves locked memory.
[[nodiscard]] std::optional<SecretBytes> decodeSecretBase64(std::string_view text);

/// Two lower-case digits a byte (RFC 4648, section 8, in lower case).
[[nodiscard]] std::string encodeHex(ByteView bytes);

/// A new random (version 4) UUID in its canonical form of 36 upper-case characters (RFC 9562).
[[nodiscard]] std::string randomUUID();

}  // namespace brindlewick
