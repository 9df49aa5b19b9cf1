#pragma once

namespace brindlewick::testing {

/// From now on this process, with all that it starts, gets this error number from a system call, named by its number
/// (SYS_...), which then does nothing. For good: call it in a process that ends with the test.
void failSystemCall(long number, int code);

/// From now on a system call ends this process (SIGSYS).
void forbidSystemCall(long number);

}  // namespace brindlewick::testing
