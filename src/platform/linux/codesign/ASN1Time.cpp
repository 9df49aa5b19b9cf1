#include "platform/linux/codesign/ASN1Time.h"

#include <ctime>
#include <string>

#include "platform/linux/codesign/OpenSSLHolders.h"

namespace brindlewick::codesign {
namespace {

/// Where the second stands in either form: the year has two digits or four, each part behind it two. In a time without
/// seconds a zone stands there, which is no digit.
std::size_t placeOfSecond(const ASN1_TIME* time) { return ASN1_STRING_type(time) == V_ASN1_GENERALIZEDTIME ? 12 : 10; }

std::optional<std::time_t> secondsOf(int type, const std::string& text) {
  const TimeHolder time(ASN1_STRING_type_new(type));
  std::tm parts{};
  if (!time || ASN1_STRING_set(time.get(), text.data(), static_cast<int>(text.size())) != 1) return std::nullopt;
  if (ASN1_TIME_to_tm(time.get(), &parts) != 1) return std::nullopt;
  return ::timegm(&parts);
}

}  // namespace

std::optional<std::chrono::system_clock::time_point> timePointOf(const ASN1_TIME* time) {
  // For OpenSSL the absent time is the present one.
  if (time == nullptr) return std::nullopt;
  std::string text(reinterpret_cast<const char*>(ASN1_STRING_get0_data(time)),
                   static_cast<std::size_t>(ASN1_STRING_length(time)));
  const std::size_t place = placeOfSecond(time);
  // OpenSSL counts seconds to 59.
  const bool isSixty = text.size() > place && text.compare(place, 2, "60") == 0;
  if (isSixty) text.replace(place, 2, "59");
  const auto seconds = secondsOf(ASN1_STRING_type(time), text);
  constexpr std::time_t limit = std::time_t{1} << 33;  // the years 1697 and 2242
  if (!seconds || *seconds < -limit || *seconds > limit) return std::nullopt;
  return std::chrono::system_clock::from_time_t(*seconds + (isSixty ? 1 : 0));
}

}  // namespace brindlewick::codesign
