#pragma once

#include "plist/PropertyListMeter.h"

namespace brindlewick {

/// The top value of a binary property list, eight bytes of header included. Throws Failure<PropertyListRefusal>.
[[nodiscard]] PropertyListNode readBinaryPropertyList(ByteView content, PropertyListMeter& meter);

}  // namespace brindlewick
