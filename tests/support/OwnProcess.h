#pragma once

#include <functional>

#include "platform/Path.h"

namespace brindlewick::testing {

/// Runs an action in a process of its own, for what cannot be taken back there: lost rights, limits, filters. What it
/// expects in vain, and what it throws, fails the test.
void inOwnProcess(const std::function<void()>& action);

/// The same, with a system call that does nothing and answers with this error number.
void withFailingCall(long number, int code, const std::function<void()>& action);

/// The same, as a user without privileges, whom permissions bind and to whom the folder with all below it is given.
void asOrdinaryUser(const Path& folder, const std::function<void()>& action);

/// The same, with so many descriptors in all, the three standard ones among them.
void withDescriptors(unsigned count, const std::function<void()>& action);

}  // namespace brindlewick::testing
