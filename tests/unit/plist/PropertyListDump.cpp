#include "unit/plist/PropertyListDump.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <variant>

#include "plist/PropertyListRefusal.h"

namespace brindlewick::testing {
namespace {

void appendHex(std::string& text, std::uint64_t number, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) text += "0123456789abcdef"[number >> shift & 15];
}

/// One overload a kind.
struct Writer {
  std::string operator()(const PropertyListTree& tree) const { return dump(tree); }
  std::string operator()(const PropertyListArray& array) const {
    std::string text = "[";
    for (const auto& element : array) text += (text.size() > 1 ? ", " : "") + std::visit(*this, element.value);
    return text + "]";
  }
  std::string operator()(const std::string& text) const { return dumpText(text); }
  std::string operator()(const Bytes& data) const { return dumpData(data); }
  std::string operator()(double real) const { return dumpReal(real); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::monostate) const { return "other"; }
};

std::string_view name(PropertyListRefusal refusal) {
  constexpr std::array<std::string_view, 14> names{
      "(malformed)",          "(noDictionary)",        "(otherEncoding)", "(textWithNUL)", "(illFormedText)",
      "(foreignNumber)",      "(integerBeyond64Bits)", "(wideNumber)",    "(repeatedKey)", "(keyOfOtherKind)",
      "(kindOfOtherFormats)", "(listInsideList)",      "(tooDeep)",       "(tooLarge)"};
  return names.at(static_cast<std::size_t>(refusal));
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c >= ' ' && c <= '~' && c != '\\') {
      result += c;
    } else {
      result += "\\x";
      appendHex(result, static_cast<std::uint8_t>(c), 2);
    }
  }
  return result;
}

std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result += text[i];
      continue;
    }
    unsigned byte = 0;
    std::from_chars(text.data() + i + 2, text.data() + i + 4, byte, 16);
    result += static_cast<char>(byte);
    i += 3;
  }
  return result;
}

std::string dump(const PropertyListTree& tree) {
  std::string text = "{";
  for (const auto& [key, node] : tree)
    text += (text.size() > 1 ? ", " : "") + dumpText(key) + ": " + std::visit(Writer(), node.value);
  return text + "}";
}

std::string dumpReal(double real) {
  std::string text = "real(";
  if (std::isnan(real))
    text += "nan";
  else
    appendHex(text, std::bit_cast<std::uint64_t>(real), 16);
  return text + ")";
}

std::string dumpText(std::string_view text) { return '"' + escaped(text) + '"'; }

std::string dumpData(ByteView data) {
  std::string text = "<";
  for (const auto byte : data) appendHex(text, byte, 2);
  return text + ">";
}

std::string verdictOn(std::string_view content) try {
  return dump(readPropertyList(asBytes(content)).top);
} catch (const Failure<PropertyListRefusal>& failure) {
  return std::string(name(failure.failedCase()));
}

}  // namespace brindlewick::testing
