// Whatever a receipt, an envelope or a payload holds, it is read or refused as another reader of JSON would have it;
// what stands in it besides changes nothing; and what is canonical is read back as what was written.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "support/JSONOracle.h"
#include "trust/JSONObject.h"
#include "trust/UpdateManifest.h"
#include "trust/UpdateSecurityError.h"

namespace brindlewick {
namespace {

void demand(bool holds) {
  if (!holds) __builtin_trap();
}

/// Bytes that are an object stay one, as one of its members, and bytes that are none stay none, whatever stands beside
/// them.
void judgeAsAMember(ByteView bytes) {
  const auto text = asText(bytes);
  const bool isObject = JSONObject::parse(bytes, {}).has_value();
  const auto outer = JSONObject::parse(asBytes("{\"x\":1e400,\"x\":" + std::string(text) + ",\"a\":1}"), {"a"});
  if (isObject && !text.starts_with("\xEF")) demand(outer.has_value());
  if (outer) demand(outer->integer("a") == 1);
}

void judgeAsAManifest(ByteView bytes) {
  if (const auto manifest = UpdateManifest::decode(bytes)) {
    const auto canonical = CanonicalUpdateManifest::encode(*manifest);
    demand(canonical && CanonicalUpdateManifest::fromPayload(*canonical) == *manifest);
  }
  try {
    const auto manifest = CanonicalUpdateManifest::fromPayload(bytes);
    demand(std::ranges::equal(CanonicalUpdateManifest::encode(manifest).value(), bytes));
  } catch (const Failure<UpdateSecurityError>&) {
  }
}

}  // namespace
}  // namespace brindlewick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const ByteView bytes(data, size);
  demand(testing::agreesWithAnotherReader(bytes).value_or(true));
  judgeAsAMember(bytes);
  judgeAsAManifest(bytes);
  return 0;
}
