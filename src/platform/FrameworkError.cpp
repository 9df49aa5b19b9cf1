#include "platform/FrameworkError.h"

#include <string>

namespace brindlewick {
namespace {

// The names and numbers of NSURLError.h, which only macOS has.
constexpr std::string_view transportDomain = "NSURLErrorDomain";
constexpr std::string_view posixDomain = "NSPOSIXErrorDomain";
constexpr int transportCancelled = -999;
constexpr int transportTimedOut = -1001;

class FrameworkCategory : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "framework"; }
  [[nodiscard]] std::string message(int number) const override {
    return std::string(name()) + " error " + std::to_string(number);
  }
};

class TransportCategory final : public FrameworkCategory {
 public:
  [[nodiscard]] const char* name() const noexcept override { return transportDomain.data(); }
  [[nodiscard]] std::error_condition default_error_condition(int number) const noexcept override {
    if (number == transportCancelled) return std::make_error_condition(std::errc::operation_canceled);
    if (number == transportTimedOut) return std::make_error_condition(std::errc::timed_out);
    return {number, *this};
  }
};

}  // namespace

std::error_code frameworkErrorCode(std::string_view domain, int number) noexcept {
  static const FrameworkCategory other;
  static const TransportCategory transport;
  if (domain == posixDomain) return {number, std::generic_category()};
  if (domain == transportDomain) return {number, transport};
  return {number, other};
}

}  // namespace brindlewick
