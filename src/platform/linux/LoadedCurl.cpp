#include "platform/linux/LoadedCurl.h"

#include <dlfcn.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "platform/PlatformError.h"

namespace brindlewick::curl {
namespace {

constexpr const char* name = "libcurl.so.4";
constexpr unsigned oldestVersion = 0x07'58'00;  // 7.88.0, as libcurl writes it

constexpr auto dependencies = std::to_array(
    R"([{"soname":["libcurl.so.4"],"feature":"https","description":"check-and-stage","priority":"required"}])");

/// Names to packagers the library that the dynamic section does not (systemd.io/ELF_DLOPEN_METADATA).
struct DlopenNote {
  static constexpr std::uint32_t dlopenMetadata = 0x407c0c0a;

  std::uint32_t ownerByteCount = sizeof owner;
  std::uint32_t descriptionByteCount = sizeof description;
  std::uint32_t type = dlopenMetadata;
  std::array<char, 4> owner{'F', 'D', 'O', '\0'};
  alignas(std::uint32_t) decltype(dependencies) description = dependencies;
};
// The compiler would align a larger one to more, which readers of notes take for a damaged one.
[[gnu::section(".note.dlopen"), gnu::used]] alignas(std::uint32_t) constexpr DlopenNote note;

[[noreturn]] void refuse(const char* library, int code) {
  throw PlatformError("load", library, std::error_code(code, std::generic_category()));
}

Functions load() {
  const Functions functions{.library = SharedLibrary(name)};
  const auto* info = functions.versionInfo(CURLVERSION_NOW);
  // One that looks names up on the calling thread is deaf to limits of time and to interruptions while it does.
  const bool looksUpApart = (info->features & CURL_VERSION_ASYNCHDNS) != 0;
  if (info->version_num < oldestVersion || !looksUpApart) refuse(name, ELIBBAD);
  return functions;
}

}  // namespace

SharedLibrary::SharedLibrary(const char* library) : name_(library), handle_(::dlopen(library, RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) refuse(name_, ELIBACC);
}

void* SharedLibrary::address(const char* function) const {
  auto* found = ::dlsym(handle_, function);
  if (found == nullptr) refuse(name_, ELIBBAD);
  return found;
}

const Functions& libcurl() {
  static const Functions functions = load();
  return functions;
}

}  // namespace brindlewick::curl
