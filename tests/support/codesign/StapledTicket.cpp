#include "support/codesign/StapledTicket.h"

#include "support/codesign/ByteWriter.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t signatureFieldByteCount = 72;

Bytes payloadOf(const TicketShape& shape, const std::vector<TicketEntry>& entries) {
  ByteWriter out;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(shape.time.time_since_epoch()).count();
  out.text("g8tk").little16(2).little16(20).little32(entries.size()).little32(0);
  out.little64(static_cast<std::uint64_t>(seconds));
  for (const auto& [hashType, codeHash] : entries) out.byte(hashType).raw(codeHash);
  return out.bytes();
}

}  // namespace

Bytes stapledTicket(const TicketShape& shape, std::vector<TicketEntry> entries, const TestPKI& defaultPKI) {
  const TestPKI& pki = shape.pki ? *shape.pki : defaultPKI;
  if (shape.editEntries) shape.editEntries(entries);
  std::vector<Bytes> chain = {pki.ticketLeaf.certificate, pki.ticketAuthority.certificate};
  if (shape.embedsRoot) chain.push_back(pki.ticketRoot.certificate);
  const Bytes certificates = der::sequence(chain);
  Bytes payload = payloadOf(shape, entries);
  if (shape.spoilPayload) shape.spoilPayload(payload);
  ByteWriter out;
  out.text("s8ch").little32(1).little32(certificates.size()).little32(payload.size()).raw(certificates).raw(payload);
  const Bytes signature = pki.ticketLeaf.key.sign(out.bytes(), "sha256");
  out.raw(signature).zeros(signatureFieldByteCount - signature.size());
  Bytes ticket = out.bytes();
  if (shape.spoil) shape.spoil(ticket);
  return ticket;
}

}  // namespace brindlewick::testing
