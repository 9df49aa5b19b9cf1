#pragma once

#include "platform/PropertyList.h"

namespace brindlewick {

/// Property lists, read by Core Foundation as the rest of the system reads them. Of a repeated key it keeps one value.
class CoreFoundationPropertyList final : public PropertyListReader {
 public:
  [[nodiscard]] std::optional<PropertyListDictionary> dictionary(ByteView content) override;
};

}  // namespace brindlewick
