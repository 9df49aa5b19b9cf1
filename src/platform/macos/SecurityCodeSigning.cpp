#include "platform/macos/SecurityCodeSigning.h"

#include <Security/SecCode.h>
#include <Security/SecRequirement.h>
#include <Security/SecStaticCode.h>

#include "platform/macos/CFHolder.h"
#include "platform/macos/CoreFoundationText.h"

namespace brindlewick {
namespace {

/// Every architecture of the executable, not only this machine's, and no tolerance for old kinds of seals.
constexpr SecCSFlags validityFlags = kSecCSCheckAllArchitectures | kSecCSStrictValidate;
constexpr SecCSFlags informationFlags = kSecCSSigningInformation;
static_assert(validityFlags == 17 && informationFlags == 2);

class SecurityRequirement final : public CodeRequirement {
 public:
  explicit SecurityRequirement(CFHolder<SecRequirementRef> requirement) : requirement_(std::move(requirement)) {}

  [[nodiscard]] SecRequirementRef get() const noexcept { return requirement_.get(); }

 private:
  CFHolder<SecRequirementRef> requirement_;
};

class SecurityStaticCode final : public StaticCode {
 public:
  explicit SecurityStaticCode(CFHolder<SecStaticCodeRef> code) : code_(std::move(code)) {}

  [[nodiscard]] bool isValid() override { return isValidFor(nullptr); }

  [[nodiscard]] bool satisfies(const CodeRequirement& requirement) override {
    return isValidFor(dynamic_cast<const SecurityRequirement&>(requirement).get());
  }

  [[nodiscard]] std::optional<std::string> teamIdentifier() override {
    CFHolder<CFDictionaryRef> information;
    if (SecCodeCopySigningInformation(code_.get(), informationFlags, information.out()) != errSecSuccess)
      return std::nullopt;
    return toText(CFDictionaryGetValue(information.get(), kSecCodeInfoTeamIdentifier));
  }

 private:
  [[nodiscard]] bool isValidFor(SecRequirementRef requirement) {
    return SecStaticCodeCheckValidity(code_.get(), validityFlags, requirement) == errSecSuccess;
  }

  CFHolder<SecStaticCodeRef> code_;
};

/// Named like a file in any case: the name of a directory is then used as it stands, without a slash behind it.
CFHolder<CFURLRef> fileURL(const Path& path) {
  const auto& text = path.string();
  return CFHolder(CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                          static_cast<CFIndex>(text.size()), false));
}

}  // namespace

std::unique_ptr<StaticCode> SecurityCodeSigning::staticCode(const Path& path) {
  const auto url = fileURL(path);
  CFHolder<SecStaticCodeRef> code;
  if (!url || SecStaticCodeCreateWithPath(url.get(), kSecCSDefaultFlags, code.out()) != errSecSuccess) return nullptr;
  return std::make_unique<SecurityStaticCode>(std::move(code));
}

std::unique_ptr<CodeRequirement> SecurityCodeSigning::requirement(std::string_view text) {
  const auto string = toCFString(text);
  CFHolder<SecRequirementRef> requirement;
  if (!string || SecRequirementCreateWithString(string.get(), kSecCSDefaultFlags, requirement.out()) != errSecSuccess)
    return nullptr;
  return std::make_unique<SecurityRequirement>(std::move(requirement));
}

}  // namespace brindlewick
