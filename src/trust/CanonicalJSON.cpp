#include "trust/CanonicalJSON.h"

#include <nlohmann/json.hpp>

namespace brindlewick {
std::optional<Bytes> CanonicalJSON::encode(const Members& members) {
  nlohmann::json object = nlohmann::json::object();  // keeps its keys sorted
  for (const auto& [name, value] : members)
    object[name] = std::visit([](const auto& known) { return nlohmann::json(known); }, value);
  try {
    const auto text = object.dump();
    return Bytes(text.begin(), text.end());
  } catch (const nlohmann::json::type_error&) {  // a text that is not UTF-8
    return std::nullopt;
  }
}

}  // namespace brindlewick
