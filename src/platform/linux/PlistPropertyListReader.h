#pragma once

#include "platform/PropertyList.h"

namespace brindlewick {

/// Property lists read with libplist, behind the checks of PropertyListTree.h.
class PlistPropertyListReader final : public PropertyListReader {
 public:
  [[nodiscard]] std::optional<PropertyListDictionary> dictionary(ByteView content) override;
};

}  // namespace brindlewick
