#pragma once

#include <stdexcept>

namespace brindlewick::lipo {

/// Why a file has no architectures that could be told, in words for the person who started the command.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace brindlewick::lipo
