#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/Bytes.h"

namespace brindlewick::testing {

/// A pattern with the XML element that says what it does.
using ResourceRule = std::pair<std::string, std::string>;

/// The rules (version 2) that Apple's tools write for every application.
[[nodiscard]] std::vector<ResourceRule> standardRules();
/// The same for a bundle in which everything lies at the top.
[[nodiscard]] std::vector<ResourceRule> flatRules();

/// How CodeResources is written.
struct SealShape {
  std::vector<ResourceRule> rules = standardRules();
  bool hasVersion1 = true, hasRules2 = true, hasFiles2 = true;
  /// Further entries of `files2`, or others in place of the right ones: path and XML element.
  std::map<std::string, std::string> entries;
  /// Changes the finished text, before it is signed.
  std::function<void(std::string&)> spoil;
};

/// The seal of a file, a link and nested code as XML elements.
[[nodiscard]] std::string fileSeal(ByteView content, const std::vector<std::uint8_t>& hashTypes, bool optional);
[[nodiscard]] std::string linkSeal(const std::string& target);
[[nodiscard]] std::string nestedSeal(ByteView codeHash, const std::string& requirement);

/// The property list; `entries` holds the right seals by path.
[[nodiscard]] std::string codeResources(const SealShape& shape, std::map<std::string, std::string> entries);

}  // namespace brindlewick::testing
