#include "platform/linux/ReferenceSystemVersion.h"

namespace brindlewick {

OperatingSystemVersion ReferenceSystemVersion::running() { return {BRINDLEWICK_REFERENCE_MACOS_NUMBERS}; }

}  // namespace brindlewick
