#include "platform/linux/ReferenceSystemVersion.h"

namespace brindlewick {

NumericSystemVersion ReferenceSystemVersion::running() { return {BRINDLEWICK_REFERENCE_MACOS_NUMBERS}; }

}  // namespace brindlewick
