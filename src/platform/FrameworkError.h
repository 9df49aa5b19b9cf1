#pragma once

#include <string_view>
#include <system_error>

namespace brindlewick {

/// The error that a framework of macOS names by a domain and a number, unchanged: `value()` is that number. A number of
/// the POSIX domain is an errno. Two numbers of the transport also compare equal to a condition of our own: a cancelled
/// task (-999) to std::errc::operation_canceled and one that took too long (-1001) to std::errc::timed_out.
[[nodiscard]] std::error_code frameworkErrorCode(std::string_view domain, int number) noexcept;

}  // namespace brindlewick
