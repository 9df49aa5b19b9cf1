#include "trust/JSONTokens.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

using Kind = JSONTokens::Kind;

constexpr std::pair<std::string_view, Kind> fixedTokens[] = {
    {"{", Kind::beginObject}, {"}", Kind::endObject}, {"[", Kind::beginArray},
    {"]", Kind::endArray},    {":", Kind::colon},     {",", Kind::comma},
    {"true", Kind::word},     {"false", Kind::word},  {"null", Kind::word},
};

/// Characters that cannot stand for themselves in a string, or that end it.
bool isSpecial(char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }

bool isHighSurrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void appendUTF8(std::string& text, unsigned character) {
  const int further = character < 0x80 ? 0 : character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr unsigned firstByte[] = {0x00, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(firstByte[further] | character >> 6 * further);
  for (int i = further; i-- > 0;) text += static_cast<char>(0x80 | (character >> 6 * i & 0x3F));
}

}  // namespace

JSONTokens::Kind JSONTokens::next() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\r"), rest_.size()));
  if (rest_.empty()) return Kind::end;
  for (const auto& [text, kind] : fixedTokens)
    if (readIf(text)) return kind;
  return readIf("\"") ? readString() : readNumber();
}

JSONTokens::Kind JSONTokens::readString() {
  string_.clear();
  for (;;) {
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(rest_, isSpecial) - rest_.begin());
    string_ += rest_.substr(0, plain);
    rest_.remove_prefix(plain);
    if (readIf("\"")) return Kind::string;
    if (!readIf("\\") || !readEscape()) return Kind::none;
  }
}

bool JSONTokens::readEscape() {
  if (readIf("u")) return readEscapedCharacter();
  constexpr std::string_view names = "\"\\/bfnrt", meanings = "\"\\/\b\f\n\r\t";
  const auto at = rest_.empty() ? std::string_view::npos : names.find(rest_.front());
  if (at == std::string_view::npos) return false;
  string_ += meanings[at];
  rest_.remove_prefix(1);
  return true;
}

/// A surrogate without its other half stands for no character, and no text could hold it (RFC 8259, section 8.2).
bool JSONTokens::readEscapedCharacter() {
  auto character = readUTF16Unit();
  if (!character || isLowSurrogate(*character)) return false;
  if (isHighSurrogate(*character)) {
    const auto low = readIf("\\u") ? readUTF16Unit() : std::nullopt;
    if (!low || !isLowSurrogate(*low)) return false;
    character = 0x10000 + ((*character - 0xD800) << 10) + (*low - 0xDC00);
  }
  appendUTF8(string_, *character);
  return true;
}

std::optional<unsigned> JSONTokens::readUTF16Unit() {
  const auto digits = rest_.substr(0, 4);
  unsigned unit = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
  if (error != std::errc{} || end != digits.data() + 4) return std::nullopt;
  rest_.remove_prefix(4);
  return unit;
}

JSONTokens::Kind JSONTokens::readNumber() {
  const auto start = rest_;
  static_cast<void>(readIf("-"));
  if (!readIf("0") && !readDigits()) return Kind::none;
  if (readIf(".") && !readDigits()) return Kind::none;
  if (readIf("e") || readIf("E")) {
    if (!readIf("+")) static_cast<void>(readIf("-"));
    if (!readDigits()) return Kind::none;
  }
  number_ = start.substr(0, start.size() - rest_.size());
  return Kind::number;
}

/// One digit or more.
bool JSONTokens::readDigits() {
  const auto count = static_cast<std::size_t>(std::ranges::find_if_not(rest_, isAsciiDigit) - rest_.begin());
  rest_.remove_prefix(count);
  return count > 0;
}

bool JSONTokens::readIf(std::string_view expected) {
  if (!rest_.starts_with(expected)) return false;
  rest_.remove_prefix(expected.size());
  return true;
}

}  // namespace brindlewick
