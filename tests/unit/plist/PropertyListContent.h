#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "plist/PropertyListTree.h"

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

inline std::string bigEndian(std::uint64_t number, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
    bytes += static_cast<char>(shift < 64 ? number >> shift & 0xFF : 0);
  return bytes;
}

/// A binary property list of these objects, the first one on top, with references of two bytes.
struct BinaryList {
  std::vector<std::string> objects;
  int offsetWidth = 4;
  int referenceWidth = 2;
  std::uint64_t top = 0;
  std::uint64_t additionalObjects = 0;
  std::uint64_t offsetShift = 0;
  std::uint64_t tableShift = 0;

  [[nodiscard]] std::string bytes() const {
    std::string content = "bplist00", table;
    for (const auto& object : objects) {
      table += bigEndian(content.size() + offsetShift, offsetWidth);
      content += object;
    }
    const auto start = content.size() + tableShift;
    return content + table + std::string(6, '\0') + bigEndian(static_cast<unsigned>(offsetWidth), 1) +
           bigEndian(static_cast<unsigned>(referenceWidth), 1) + bigEndian(objects.size() + additionalObjects, 8) +
           bigEndian(top, 8) + bigEndian(start, 8);
  }
};

inline std::string references(const std::vector<std::uint64_t>& numbers) {
  std::string bytes;
  for (const auto number : numbers) bytes += bigEndian(number, 2);
  return bytes;
}

/// A dictionary whose one entry "k" has this object as its value.
inline BinaryList binaryEntry(std::string object) {
  return {{"\xD1" + references({1, 2}), "\x51k", std::move(object)}};
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

/// A row of a table of contents, with what they are read as.
struct Reading {
  const char* name;
  std::string content;
  const char* verdict;
};

inline std::ostream& operator<<(std::ostream& out, const Reading& reading) { return out << reading.name; }

inline std::string nameOf(const ::testing::TestParamInfo<Reading>& info) { return info.param.name; }

}  // namespace brindlewick::testing
