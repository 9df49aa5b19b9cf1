#pragma once

#include "platform/PropertyList.h"

namespace brindlewick {

/// Property lists read as plist/PropertyListTree.h says.
class PlistPropertyListReader final : public PropertyListReader {
 public:
  [[nodiscard]] std::optional<PropertyListDictionary> dictionary(ByteView content) override;
};

}  // namespace brindlewick
