#pragma once

#include <stdexcept>

namespace brindlewick::ditto {

/// Why an archive is not expanded, in words for the person who started the command.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace brindlewick::ditto
