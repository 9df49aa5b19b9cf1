#include "platform/posix/ProcessRestriction.h"

namespace brindlewick::posix {

// The limit of the size of a dump, which every system has, is all that is needed here; other processes are kept out by
// the hardened runtime that the program is signed with.
void forbidDumps() noexcept {}

// The system has one call for it, sandbox_init, deprecated and without a successor for a process already running.
void forbidNetwork() noexcept {}

}  // namespace brindlewick::posix
