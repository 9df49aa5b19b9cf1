#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brindlewick::testing {

/// What a text is after a change in one place.
struct ChangedText {
  std::string name;
  std::string text;
};

/// A JSON object with members that its reader does not know, before and behind those that it knows: each of these texts
/// says the same as `object`, which must be an object with at least one member.
[[nodiscard]] std::vector<ChangedText> withMembersToIgnore(std::string_view object);

/// Texts that are no JSON (RFC 8259) although an eye, or a reader that gives up early, could take them for `object`.
[[nodiscard]] std::vector<ChangedText> spoiledJSON(std::string_view object);

}  // namespace brindlewick::testing
