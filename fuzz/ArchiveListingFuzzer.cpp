// Whatever a listing says, the two policies accept or refuse it; and what they accept stays inside the one bundle.

#include <cstddef>
#include <cstdint>

#include "install/UpdateArchiveAttributePolicy.h"
#include "install/UpdateArchiveEntryPolicy.h"
#include "install/UpdateInstallError.h"
#include "platform/AsciiText.h"
#include "platform/Bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace brindlewick;
  const auto text = asText({data, size});
  std::vector<std::string_view> names;
  for (const auto line : split(text, '\n'))
    if (!line.empty()) names.push_back(line);
  try {
    UpdateArchiveEntryPolicy::check(names);
    for (const auto name : names)
      if (!name.starts_with("Brindlewick.app") || name.find("/../") != name.npos) __builtin_trap();
  } catch (const Failure<UpdateInstallError>&) {
  }
  try {
    UpdateArchiveAttributePolicy::check(text);
  } catch (const Failure<UpdateInstallError>&) {
  }
  return 0;
}
