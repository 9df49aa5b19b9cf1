#pragma once

#include <gmock/gmock.h>

#include "platform/Failure.h"
#include "platform/PlatformError.h"

namespace brindlewick::testing {

/// Matches a callable that throws exactly this case: `EXPECT_THAT([&] { ... }, fails(SomeError::someCase))`.
template <DescribedCase Case>
[[nodiscard]] auto fails(Case expected) {
  return ::testing::Throws<Failure<Case>>(::testing::Property("failedCase", &Failure<Case>::failedCase, expected));
}

/// Matches a callable that throws a PlatformError with this condition.
[[nodiscard]] inline auto failsWith(std::errc expected) {
  return ::testing::Throws<PlatformError>(
      ::testing::Truly([expected](const PlatformError& error) { return error.code() == expected; }));
}

}  // namespace brindlewick::testing
