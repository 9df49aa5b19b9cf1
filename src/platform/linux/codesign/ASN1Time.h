#pragma once

#include <openssl/asn1.h>

#include <chrono>
#include <ctime>
#include <optional>

namespace brindlewick::codesign {

/// A UTCTime or GeneralizedTime as a point in time; absent when it is none.
[[nodiscard]] inline std::optional<std::chrono::system_clock::time_point> timePointOf(const ASN1_TIME* time) {
  std::tm parts{};
  // For OpenSSL the absent time is the present one.
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
  return std::chrono::system_clock::from_time_t(::timegm(&parts));
}

}  // namespace brindlewick::codesign
