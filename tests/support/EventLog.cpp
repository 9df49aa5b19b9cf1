#include "support/EventLog.h"

#include <algorithm>
#include <regex>

namespace brindlewick::testing {

std::vector<std::string> EventLog::events() const {
  static const std::regex uuid("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
  std::vector<std::string> events;
  for (auto event : events_) {
    for (auto at = event.find(folder_); at != event.npos; at = event.find(folder_))
      event.replace(at, folder_.size(), "~");
    events.push_back(std::regex_replace(event, uuid, "UUID"));
  }
  return events;
}

std::vector<std::string> EventLog::events(const std::vector<std::string>& kinds) const {
  auto chosen = events();
  std::erase_if(chosen, [&](const std::string& event) {
    return std::ranges::find(kinds, event.substr(0, event.find(' '))) == kinds.end();
  });
  return chosen;
}

}  // namespace brindlewick::testing
