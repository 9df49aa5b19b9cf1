#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "platform/Path.h"
#include "platform/URL.h"

namespace brindlewick {

/// What remains of the argument vector without the program's own path: a command word, then options and their values
/// in turn.
using CommandList = std::span<const std::string>;

/// What a repeated option means.
enum class RepeatedOption { fails, replacesEarlier };

/// The options of one command, each looked up and checked as the type that it must have. Everything here throws
/// Failure<UpdaterCommandError>: invalidArguments.
class OptionTable {
 public:
  /// Reads the pairs behind the command word; there must be exactly `optionCount` different options.
  OptionTable(CommandList list, std::string_view commandWord, std::size_t optionCount, RepeatedOption repeated);

  /// Any text, an empty one too, that is UTF-8: what is no text could not be reported back either.
  [[nodiscard]] const std::string& text(std::string_view option) const;
  [[nodiscard]] const std::string& nonEmptyText(std::string_view option) const;
  /// A URL or relative reference; the scheme is not judged here.
  [[nodiscard]] URL url(std::string_view option) const;
  /// A decimal integer of 1 or more.
  [[nodiscard]] std::int64_t buildNumber(std::string_view option) const;
  /// A decimal integer of 2 or more: 0 and 1 are not processes that end, negative numbers are groups.
  [[nodiscard]] std::int32_t processIdentifier(std::string_view option) const;
  /// A path that begins with "/".
  [[nodiscard]] Path absolutePath(std::string_view option) const;

 private:
  std::map<std::string, std::string, std::less<>> values_;
};

}  // namespace brindlewick
