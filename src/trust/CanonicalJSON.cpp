#include "trust/CanonicalJSON.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

namespace brindlewick {
namespace {

/// Collects the scalar members of the outermost object while the text is read, so that no input, however deep or
/// large, is ever built up as a tree.
class MemberCollector final : public nlohmann::json_sax<nlohmann::json> {
 public:
  bool null() override { return scalar(); }
  bool boolean(bool value) override { return scalar(value); }
  bool number_integer(number_integer_t value) override { return scalar(std::int64_t{value}); }
  bool number_unsigned(number_unsigned_t value) override {
    if (value > static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) return scalar();
    return scalar(static_cast<std::int64_t>(value));
  }
  bool number_float(number_float_t value, const string_t&) override { return scalar(double{value}); }
  bool string(string_t& value) override { return scalar(std::move(value)); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return enter(); }
  bool key(string_t& name) override { return depth_ != 1 || begin(name); }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t) override { return depth_ > 0 && enter(); }
  bool end_array() override { return leave(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

  CanonicalJSON::Members members;

 private:
  bool enter() {
    ++depth_;
    return true;
  }
  bool leave() {
    --depth_;
    return true;
  }
  bool begin(std::string& name) {
    if (!names_.insert(name).second) return false;
    name_ = std::move(name);
    return true;
  }
  /// A null, or a number that is too large: present, but of no type that anybody asks for.
  [[nodiscard]] bool scalar() const { return depth_ > 0; }
  bool scalar(CanonicalJSON::Value value) {
    if (depth_ == 1) members.emplace_back(name_, std::move(value));
    return depth_ > 0;
  }

  std::size_t depth_ = 0;
  std::string name_;
  std::set<std::string> names_;
};

template <typename Type>
std::optional<Type> find(const CanonicalJSON::Members& members, std::string_view key) {
  for (const auto& [name, value] : members) {
    if (name != key) continue;
    if (const auto* found = std::get_if<Type>(&value)) return *found;
  }
  return std::nullopt;
}

}  // namespace

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

std::optional<JSONObject> JSONObject::parse(ByteView text) {
  // JSON has no NUL byte anywhere, but the library takes one behind the document for the end of its input.
  if (std::ranges::find(text, std::uint8_t{0}) != text.end()) return std::nullopt;
  MemberCollector collector;
  if (!nlohmann::json::sax_parse(text.begin(), text.end(), &collector)) return std::nullopt;
  JSONObject object;
  object.members_ = std::move(collector.members);
  return object;
}

std::optional<std::string> JSONObject::string(std::string_view key) const { return find<std::string>(members_, key); }

std::optional<std::int64_t> JSONObject::integer(std::string_view key) const {
  return find<std::int64_t>(members_, key);
}

}  // namespace brindlewick
