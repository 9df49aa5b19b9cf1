#include "platform/macos/MacSystemVersion.h"

#include <sys/sysctl.h>

#include <array>

#include "platform/posix/SystemCalls.h"

namespace brindlewick {

NumericSystemVersion MacSystemVersion::running() {
  constexpr const char* name = "kern.osproductversion";
  std::array<char, 64> text{};
  auto byteCount = text.size() - 1;  // a terminating NUL remains in any case
  if (::sysctlbyname(name, text.data(), &byteCount, nullptr, 0) != 0) posix::throwErrno("read", name);
  const auto version = NumericSystemVersion::parse(text.data());
  if (!version) posix::throwErrno("understand", name, EINVAL);
  return *version;
}

}  // namespace brindlewick
