#include "support/HiddenFolder.h"

#include <sched.h>
#include <sys/mount.h>

#include <stdexcept>

namespace brindlewick::testing {

void becomeOrdinary() {
  // No user is mapped into the new namespace, so its capabilities reach no file outside it.
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) throw std::runtime_error("no namespace of its own");
}

void hideFolder(const char* folder) {
  if (::mount("nothing", folder, "tmpfs", MS_RDONLY, "mode=755") != 0) throw std::runtime_error("no mount");
}

}  // namespace brindlewick::testing
