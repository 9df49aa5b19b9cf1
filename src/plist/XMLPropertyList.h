#pragma once

#include <string_view>

#include "plist/PropertyListMeter.h"

namespace brindlewick {

/// The top value of an XML property list in UTF-8, without its byte order mark. Throws Failure<PropertyListRefusal>.
[[nodiscard]] PropertyListNode readXMLPropertyList(std::string_view content, PropertyListMeter& meter);

}  // namespace brindlewick
