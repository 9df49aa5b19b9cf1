#include "support/FakePropertyLists.h"

#include <sstream>

namespace brindlewick::testing {

std::optional<PropertyListDictionary> FakePropertyLists::dictionary(ByteView content) {
  PropertyListDictionary dictionary;
  std::istringstream lines{std::string(asText(content))};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string kind;
    std::string name;
    std::string value;
    words >> name >> kind;
    words.get();
    std::getline(words, value);
    if (kind == "string")
      dictionary[name] = value;
    else if (kind == "integer")
      dictionary[name] = std::int64_t{std::stoll(value)};
    else if (kind == "real")
      dictionary[name] = std::stod(value);
    else if (kind == "other")
      dictionary[name] = std::monostate();
    else
      return std::nullopt;
  }
  return dictionary;
}

}  // namespace brindlewick::testing
