#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "support/codesign/TestPKI.h"

namespace brindlewick::testing {

/// A code hash (20 bytes) with its hash type, as a ticket lists it.
using TicketEntry = std::pair<std::uint8_t, Bytes>;

/// A stapled notarization ticket.
struct TicketShape {
  std::optional<TestPKI> pki;  ///< another world's authority
  der::Time time = day(2026, 1, 16);
  bool embedsRoot = false;  ///< genuine tickets leave it out
  std::function<void(std::vector<TicketEntry>&)> editEntries;
  /// Changes the payload before it is signed, and the finished ticket.
  std::function<void(Bytes&)> spoilPayload, spoil;
};

[[nodiscard]] Bytes stapledTicket(const TicketShape& shape, std::vector<TicketEntry> entries, const TestPKI& pki);

}  // namespace brindlewick::testing
