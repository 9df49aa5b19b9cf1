#include "trust/JSONObject.h"

#include <algorithm>
#include <utility>

#include "platform/AsciiText.h"
#include "platform/UTF8.h"
#include "trust/JSONTokens.h"

namespace brindlewick {

/// Judges the order of the tokens (RFC 8259, sections 2, 4 and 5) and keeps the members of the outermost object that
/// are asked for. What is open waits on a stack of its own, so no depth overflows the program's, and nothing is built
/// up.
class JSONObjectReader {
 public:
  JSONObjectReader(std::string_view text, std::initializer_list<std::string_view> keys) : tokens_(text), keys_(keys) {}

  /// Whether the text is one object and nothing else, each of the keys in it at most once.
  bool read() {
    if (tokens_.next() != Kind::beginObject) return false;
    open(Kind::endObject, Expected::keyOrEnd);
    while (!ends_.empty())
      if (!take(tokens_.next())) return false;
    return tokens_.next() == Kind::end;
  }

  JSONObject object;

 private:
  using Kind = JSONTokens::Kind;
  enum class Expected { key, keyOrEnd, colon, value, valueOrEnd, commaOrEnd };

  bool take(Kind kind) {
    const bool mayEnd =
        expected_ == Expected::keyOrEnd || expected_ == Expected::valueOrEnd || expected_ == Expected::commaOrEnd;
    if (mayEnd && kind == ends_.back()) return close();
    switch (expected_) {
      case Expected::key:
      case Expected::keyOrEnd:
        expected_ = Expected::colon;
        return kind == Kind::string && takeKey();
      case Expected::colon:
        expected_ = Expected::value;
        return kind == Kind::colon;
      case Expected::value:
      case Expected::valueOrEnd:
        expected_ = Expected::commaOrEnd;
        return takeValue(kind);
      case Expected::commaOrEnd:
        expected_ = ends_.back() == Kind::endObject ? Expected::key : Expected::value;
        return kind == Kind::comma;
    }
    return false;
  }

  bool open(Kind end, Expected expected) {
    ends_.push_back(end);
    expected_ = expected;
    return true;
  }

  bool close() {
    ends_.pop_back();
    expected_ = Expected::commaOrEnd;
    return true;
  }

  /// Of the outermost object; what is deeper has nothing to say.
  bool takeKey() {
    if (ends_.size() > 1) return true;
    isWanted_ = std::ranges::find(keys_, tokens_.string()) != keys_.end();
    if (!isWanted_) return true;
    const auto hasSameKey = [this](const auto& member) { return member.first == tokens_.string(); };
    if (std::ranges::any_of(object.members_, hasSameKey)) return false;
    object.members_.emplace_back(std::move(tokens_.string()), JSONObject::Other());
    return true;
  }

  bool takeValue(Kind kind) {
    if (kind == Kind::beginObject) return open(Kind::endObject, Expected::keyOrEnd);
    if (kind == Kind::beginArray) return open(Kind::endArray, Expected::valueOrEnd);
    if (isWanted_ && ends_.size() == 1) keepValue(kind);
    return kind == Kind::string || kind == Kind::number || kind == Kind::word;
  }

  void keepValue(Kind kind) {
    auto& value = object.members_.back().second;
    if (kind == Kind::string) value = std::move(tokens_.string());
    if (kind == Kind::number)
      if (const auto integer = parseDecimal<std::int64_t>(tokens_.number())) value = *integer;
  }

  JSONTokens tokens_;
  std::initializer_list<std::string_view> keys_;
  /// Of everything that is open, outermost first, the token that ends it.
  std::vector<Kind> ends_;
  Expected expected_ = Expected::keyOrEnd;
  /// Whether the member of the outermost object that is being read is one of those asked for.
  bool isWanted_ = false;
};

namespace {

template <typename Type>
std::optional<Type> find(const auto& members, std::string_view key) {
  for (const auto& [name, value] : members) {
    if (name != key) continue;
    if (const auto* found = std::get_if<Type>(&value)) return *found;
  }
  return std::nullopt;
}

}  // namespace

std::optional<JSONObject> JSONObject::parse(ByteView bytes, std::initializer_list<std::string_view> keys) {
  auto text = asText(bytes);
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  if (!isUTF8(text)) return std::nullopt;
  JSONObjectReader reader(text, keys);
  if (!reader.read()) return std::nullopt;
  return std::move(reader.object);
}

std::optional<std::string> JSONObject::string(std::string_view key) const { return find<std::string>(members_, key); }

std::optional<std::int64_t> JSONObject::integer(std::string_view key) const {
  return find<std::int64_t>(members_, key);
}

}  // namespace brindlewick
