#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/linux/PropertyListTree.h"

/// What the tests of both formats of property lists are written with.
namespace brindlewick::testing {

inline std::string document(std::string_view body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n" +
         std::string(body) + "\n</plist>\n";
}

/// A dictionary with one entry, "k".
inline std::string entry(std::string_view value) {
  return document("<dict><key>k</key>" + std::string(value) + "</dict>");
}

inline std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  result.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

/// A text literal with NUL inside, whole.
template <std::size_t size>
std::string bytes(const char (&literal)[size]) {
  return std::string(literal, size - 1);
}

inline std::optional<PropertyListTree> parsed(const std::string& content) {
  return parsePropertyList(asBytes(content));
}

/// The value of the entry "k".
template <typename Kind>
std::optional<Kind> parsedValue(const std::string& content) {
  const auto tree = parsed(content);
  const auto* node = tree ? find(*tree, "k") : nullptr;
  const auto* value = node != nullptr ? node->as<Kind>() : nullptr;
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

/// A row of a table of contents.
struct Content {
  const char* name;
  std::string content;
};

inline std::ostream& operator<<(std::ostream& out, const Content& content) { return out << content.name; }

inline std::string nameOf(const ::testing::TestParamInfo<Content>& info) { return info.param.name; }

}  // namespace brindlewick::testing
