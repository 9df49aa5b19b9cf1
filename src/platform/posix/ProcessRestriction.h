#pragma once

namespace brindlewick::posix {

/// Keeps the memory of this process from files and from other processes of its user, for good; where the system cannot,
/// nothing changes.
void forbidDumps() noexcept;

/// Takes the network from this process, for good; where the system cannot, nothing changes. What is open stays so, and
/// is read and written as a file.
void forbidNetwork() noexcept;

}  // namespace brindlewick::posix
