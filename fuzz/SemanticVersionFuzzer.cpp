// Whatever two versions are compared, the order is total; and a system version is compared with itself as equal.

#include <cstddef>
#include <cstdint>

#include "platform/Bytes.h"
#include "platform/NumericSystemVersion.h"
#include "trust/SemanticVersion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const auto text = asText({data, size});
  const auto separator = text.find('\n');
  const auto one = SemanticVersion::parse(text.substr(0, separator));
  const auto other = SemanticVersion::parse(separator == text.npos ? text : text.substr(separator + 1));
  if (one && other) {
    const int holds = (*one < *other) + (*one == *other) + (*other < *one);
    if (holds != 1 || (*one <= *other) != !(*other < *one)) __builtin_trap();
  }
  const auto system = NumericSystemVersion::parse(text);
  if (system && *system != *system) __builtin_trap();
  return 0;
}
