#include "frontend/OptionTable.h"

#include "frontend/UpdaterCommandError.h"
#include "platform/AsciiText.h"
#include "platform/UTF8.h"

namespace brindlewick {

using enum UpdaterCommandError;

OptionTable::OptionTable(CommandList list, std::string_view commandWord, std::size_t optionCount,
                         RepeatedOption repeated) {
  require(!list.empty() && list[0] == commandWord, invalidArguments);
  for (std::size_t i = 1; i < list.size(); i += 2) {
    require(list[i].starts_with("--") && i + 1 < list.size(), invalidArguments);
    const bool isNew = values_.insert_or_assign(list[i], list[i + 1]).second;
    require(isNew || repeated == RepeatedOption::replacesEarlier, invalidArguments);
  }
  require(values_.size() == optionCount, invalidArguments);
}

const std::string& OptionTable::text(std::string_view option) const {
  const auto found = values_.find(option);
  require(found != values_.end() && isUTF8(found->second), invalidArguments);
  return found->second;
}

const std::string& OptionTable::nonEmptyText(std::string_view option) const {
  const auto& value = text(option);
  require(!value.empty(), invalidArguments);
  return value;
}

URL OptionTable::url(std::string_view option) const { return unwrap(URL::parse(text(option)), invalidArguments); }

std::int64_t OptionTable::buildNumber(std::string_view option) const {
  const auto number = unwrap(parseDecimal<std::int64_t>(text(option)), invalidArguments);
  require(number >= 1, invalidArguments);
  return number;
}

std::int32_t OptionTable::processIdentifier(std::string_view option) const {
  const auto number = unwrap(parseDecimal<std::int32_t>(text(option)), invalidArguments);
  require(number >= 2, invalidArguments);
  return number;
}

Path OptionTable::absolutePath(std::string_view option) const {
  const auto& value = text(option);
  require(value.starts_with('/'), invalidArguments);
  return Path(value);
}

}  // namespace brindlewick
