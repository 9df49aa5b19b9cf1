#include "support/JSONOracle.h"

#include <algorithm>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>

#include "trust/JSONObject.h"

namespace brindlewick::testing {
namespace {

/// With the widest numbers that there are, so that few texts are left without a verdict.
using JSON = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, long double>;

/// Keeps the members of the outermost object, each as often as it stands there.
class Members final : public nlohmann::json_sax<JSON> {
 public:
  bool null() override { return take(nullptr); }
  bool boolean(bool value) override { return take(value); }
  bool number_integer(number_integer_t value) override { return take(value); }
  bool number_unsigned(number_unsigned_t value) override { return take(value); }
  bool number_float(number_float_t value, const string_t&) override { return take(value); }
  bool string(string_t& value) override { return take(value); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return take(JSON::object()) && ++depth_ > 0; }
  bool start_array(std::size_t) override { return take(JSON::array()) && ++depth_ > 0; }
  bool end_object() override { return depth_-- > 0; }
  bool end_array() override { return depth_-- > 0; }
  bool key(string_t& name) override {
    if (depth_ == 1) key_ = name;
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
    constexpr int numberOutOfRange = 406;
    isTooLarge = error.id == numberOutOfRange;
    return false;
  }

  std::multimap<std::string, JSON> values;
  bool isObject = false, isTooLarge = false;

 private:
  bool take(JSON value) {
    if (depth_ == 0) isObject = value.is_object();
    if (depth_ == 1) values.emplace(key_, std::move(value));
    return true;
  }

  std::size_t depth_ = 0;
  std::string key_;
};

std::optional<std::string> text(const JSON& value) {
  if (!value.is_string()) return std::nullopt;
  return value.get<std::string>();
}

std::optional<std::int64_t> integer(const JSON& value) {
  if (!value.is_number_integer()) return std::nullopt;
  constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (value.is_number_unsigned() && value.get<std::uint64_t>() > largest) return std::nullopt;
  return value.get<std::int64_t>();
}

}  // namespace

std::optional<bool> agreesWithAnotherReader(ByteView bytes) {
  const auto object = JSONObject::parse(bytes, {"a", "b"});
  // The other reader takes this byte for the end of what it is given.
  if (std::ranges::find(bytes, std::uint8_t{0}) != bytes.end()) return !object;
  Members other;
  const bool isAccepted = JSON::sax_parse(bytes.begin(), bytes.end(), &other);
  if (other.isTooLarge) return std::nullopt;
  if (!isAccepted || !other.isObject || other.values.count("a") > 1 || other.values.count("b") > 1) return !object;
  if (!object) return false;
  return std::ranges::all_of(std::initializer_list<const char*>{"a", "b"}, [&](const char* key) {
    const auto found = other.values.find(key);
    const auto value = found == other.values.end() ? JSON() : found->second;
    return object->string(key) == text(value) && object->integer(key) == integer(value);
  });
}

}  // namespace brindlewick::testing
