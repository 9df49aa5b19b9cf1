#include "platform/linux/CurlError.h"

#include <string>

#include "platform/PlatformError.h"
#include "platform/linux/LoadedCurl.h"

namespace brindlewick::curl {
namespace {

class CurlCategory final : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "libcurl"; }
  [[nodiscard]] std::string message(int code) const override {
    return libcurl().easyStrerror(static_cast<CURLcode>(code));
  }
};

const std::error_category& category() {
  static const CurlCategory instance;
  return instance;
}

}  // namespace

void throwError(std::string_view operation, std::string_view subject, CURLcode code) {
  throw PlatformError(operation, subject, std::error_code(code, category()));
}

void check(CURLcode code, std::string_view operation, std::string_view subject) {
  if (code != CURLE_OK) throwError(operation, subject, code);
}

}  // namespace brindlewick::curl
