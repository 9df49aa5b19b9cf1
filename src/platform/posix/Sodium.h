#pragma once

namespace brindlewick::posix {

/// Readies the library before its first use; later calls cost nothing. Throws std::runtime_error if it cannot be.
void readySodium();

}  // namespace brindlewick::posix
