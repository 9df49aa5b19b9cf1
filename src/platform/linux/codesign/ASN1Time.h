#pragma once

#include <openssl/asn1.h>

#include <chrono>
#include <optional>

namespace brindlewick::codesign {

/// A UTCTime or GeneralizedTime as a point in time; absent when it is none, or when it lies beyond the years that the
/// clock can count: it has nanoseconds in 64 bits, and an attacker may write the year 9999.
///
/// The second 60 is the beginning of the next minute, at the end of every minute and not only where a leap second was:
/// signers write it, and macOS reads it so.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> timePointOf(const ASN1_TIME* time);

}  // namespace brindlewick::codesign
