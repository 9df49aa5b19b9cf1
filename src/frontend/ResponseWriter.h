#pragma once

#include "platform/StandardOutput.h"

namespace brindlewick {

/// Prints one response and one line feed. A response that cannot be encoded prints nothing; a writer never fails.
template <typename Response>
void writeResponse(StandardOutput& output, const Response& response) {
  const auto encoded = response.encode();
  if (!encoded) return;
  output.write(*encoded);
  output.write(asBytes("\n"));
}

}  // namespace brindlewick
