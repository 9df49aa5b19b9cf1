#include "support/EventLog.h"

#include <algorithm>

namespace brindlewick::testing {
namespace {

constexpr std::string_view uuidForm = "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX";

bool isUUID(std::string_view text) {
  return std::ranges::equal(text, uuidForm, [](char c, char form) {
    return form == '-' ? c == '-' : std::string_view("0123456789ABCDEF").find(c) != std::string_view::npos;
  });
}

void replaceAll(std::string& text, const std::string& old, std::string_view replacement) {
  for (auto at = text.find(old); at != text.npos; at = text.find(old)) text.replace(at, old.size(), replacement);
}

void replaceUUIDs(std::string& text) {
  for (std::size_t at = 0; at + uuidForm.size() <= text.size(); ++at)
    if (isUUID(std::string_view(text).substr(at, uuidForm.size()))) text.replace(at, uuidForm.size(), "UUID");
}

}  // namespace

std::vector<std::string> EventLog::events() const {
  auto events = events_;
  for (auto& event : events) {
    replaceAll(event, folder_, "~");
    replaceUUIDs(event);
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
