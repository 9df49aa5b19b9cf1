#include "platform/FrameworkError.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

TEST(FrameworkErrorCode, keepsTheNumberOfTheTransport) {
  const auto code = frameworkErrorCode("NSURLErrorDomain", -1009);
  EXPECT_EQ(code.value(), -1009);
  EXPECT_EQ(code.message(), "NSURLErrorDomain error -1009");
  EXPECT_NE(code, std::errc::operation_canceled);
}

TEST(FrameworkErrorCode, makesACancelledOrLateTaskComparableWithOurs) {
  EXPECT_EQ(frameworkErrorCode("NSURLErrorDomain", -999), std::errc::operation_canceled);
  EXPECT_EQ(frameworkErrorCode("NSURLErrorDomain", -999).value(), -999);
  EXPECT_EQ(frameworkErrorCode("NSURLErrorDomain", -1001), std::errc::timed_out);
}

TEST(FrameworkErrorCode, takesThePosixDomainForErrno) {
  EXPECT_EQ(frameworkErrorCode("NSPOSIXErrorDomain", ECONNREFUSED), std::errc::connection_refused);
}

TEST(FrameworkErrorCode, doesNotMixTheDomains) {
  EXPECT_NE(frameworkErrorCode("NSCocoaErrorDomain", -999), std::errc::operation_canceled);
  EXPECT_NE(frameworkErrorCode("NSCocoaErrorDomain", -999), frameworkErrorCode("NSURLErrorDomain", -999));
  EXPECT_EQ(frameworkErrorCode("NSCocoaErrorDomain", 4).value(), 4);
}

}  // namespace
}  // namespace brindlewick
