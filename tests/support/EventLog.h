#pragma once

#include <string>
#include <vector>

namespace brindlewick::testing {

/// What the doubles of one world were asked to do, in one order. The world's folder is written as "~" and every UUID as
/// "UUID", so that a test can spell out what it expects.
class EventLog {
 public:
  explicit EventLog(std::string folder) : folder_(std::move(folder)) {}

  void add(std::string event) { events_.push_back(std::move(event)); }
  void clear() { events_.clear(); }
  [[nodiscard]] std::vector<std::string> events() const;
  /// Only the events whose first word is one of these.
  [[nodiscard]] std::vector<std::string> events(const std::vector<std::string>& kinds) const;

 private:
  std::string folder_;
  std::vector<std::string> events_;
};

}  // namespace brindlewick::testing
