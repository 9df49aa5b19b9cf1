#pragma once

namespace brindlewick::testing {

/// Makes this process one of an ordinary user, even if it runs as the superuser: it keeps its files, and their modes
/// hold for it. For good, and with mounts of its own: call it in a process that ends with the test.
void becomeOrdinary();

/// After becomeOrdinary: the folder is empty from now on, and nothing can be created in it.
void hideFolder(const char* folder);

}  // namespace brindlewick::testing
