#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Every problem of the command line is this one case: which option was wrong is never told.
enum class UpdaterCommandError { invalidArguments };

/// The sentence for the user.
[[nodiscard]] constexpr std::string_view describe(UpdaterCommandError error) noexcept {
  switch (error) {
    case UpdaterCommandError::invalidArguments:
      return "The updater was invoked with an invalid configuration.";
  }
  return {};
}

}  // namespace brindlewick
