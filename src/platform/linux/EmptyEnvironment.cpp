#include "platform/linux/EmptyEnvironment.h"

#include <cstdlib>

namespace brindlewick {
namespace {

/// The list ends at its first entry from now on, for everybody who looks at it.
void emptyList(int, char**, char** environment) { environment[0] = nullptr; }

// What stands in this section of a program is called before the first function of any library (System V ABI, "Dynamic
// Linking", initialization functions). libcrypto reads OPENSSL_ia32cap in such a function, and a set bit that the
// processor lacks ends the program by an illegal instruction.
[[gnu::section(".preinit_array"), gnu::used]] void (*const first)(int, char**, char**) = emptyList;

}  // namespace

// Where the loader has no notion of that section, here at the latest.
void emptyEnvironment() noexcept { ::clearenv(); }

}  // namespace brindlewick
