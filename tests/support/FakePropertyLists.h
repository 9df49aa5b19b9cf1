#pragma once

#include "platform/PropertyList.h"

namespace brindlewick::testing {

/// Reads a form of property list that a test can write in one line a key: "NAME string VALUE", "NAME integer VALUE" or
/// "NAME other". Any other text is no property list.
class FakePropertyLists final : public PropertyListReader {
 public:
  [[nodiscard]] std::optional<PropertyListDictionary> dictionary(ByteView content) override;
};

}  // namespace brindlewick::testing
