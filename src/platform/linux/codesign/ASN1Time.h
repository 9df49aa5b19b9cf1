#pragma once

#include <openssl/asn1.h>

#include <chrono>
#include <ctime>
#include <optional>

namespace brindlewick::codesign {

/// A UTCTime or GeneralizedTime as a point in time; absent when it is none, or when it lies beyond the years that the
/// clock can count: it has nanoseconds in 64 bits, and an attacker may write the year 9999.
[[nodiscard]] inline std::optional<std::chrono::system_clock::time_point> timePointOf(const ASN1_TIME* time) {
  std::tm parts{};
  // For OpenSSL the absent time is the present one.
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
  constexpr std::time_t limit = std::time_t{1} << 33;  // the years 1697 and 2242
  const std::time_t seconds = ::timegm(&parts);
  if (seconds < -limit || seconds > limit) return std::nullopt;
  return std::chrono::system_clock::from_time_t(seconds);
}

}  // namespace brindlewick::codesign
