#include "platform/linux/codesign/LinuxCodeSigning.h"

#include <exception>
#include <variant>

#include "platform/linux/codesign/CodeValidation.h"
#include "platform/linux/codesign/Refusal.h"
#include "platform/linux/codesign/Requirement.h"

namespace brindlewick {
namespace {

using namespace codesign;

class LinuxRequirement final : public CodeRequirement {
 public:
  explicit LinuxRequirement(Requirement requirement) : requirement_(std::move(requirement)) {}
  [[nodiscard]] const Requirement& get() const noexcept { return requirement_; }

 private:
  Requirement requirement_;
};

/// Validates when it is first asked and keeps the answer.
class LinuxStaticCode final : public StaticCode {
 public:
  LinuxStaticCode(std::variant<Folder, FileSource> item, std::string name, const CodeSigningTrust& trust)
      : item_(std::move(item)), name_(std::move(name)), validation_(trust, NestedCodeDepth::shallow) {}

  [[nodiscard]] bool isValid() override { return validated() != nullptr; }

  [[nodiscard]] bool satisfies(const CodeRequirement& requirement) override {
    const auto* ours = dynamic_cast<const LinuxRequirement*>(&requirement);
    return ours != nullptr && validated() != nullptr && validated()->meets(ours->get());
  }

  [[nodiscard]] std::optional<std::string> teamIdentifier() override {
    return validated() == nullptr ? std::nullopt : validated()->slices.front().team;
  }

 private:
  const ValidatedCode* validated() {
    if (!isJudged_) {
      isJudged_ = true;
      code_ = judge();
    }
    return code_ ? &*code_ : nullptr;
  }

  /// Whatever goes wrong while code is judged counts against it.
  std::optional<ValidatedCode> judge() try {
    if (auto* folder = std::get_if<Folder>(&item_)) return validation_.bundle(std::move(*folder), name_);
    return validation_.file(std::get<FileSource>(item_));
  } catch (const std::exception&) {
    return std::nullopt;
  }

  std::variant<Folder, FileSource> item_;
  std::string name_;
  CodeValidation validation_;
  bool isJudged_ = false;
  std::optional<ValidatedCode> code_;
};

class LinuxCodeSigning final : public CodeSigning {
 public:
  explicit LinuxCodeSigning(CodeSigningTrust trust) : trust_(std::move(trust)) {}

  [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const Path& path) override try {
    return std::make_unique<LinuxStaticCode>(openCode(path), std::string(path.lastComponent()), trust_);
  } catch (const std::exception&) {
    return nullptr;
  }

  [[nodiscard]] std::unique_ptr<CodeRequirement> requirement(std::string_view text) override {
    auto compiled = Requirement::compile(text);
    return compiled ? std::make_unique<LinuxRequirement>(*std::move(compiled)) : nullptr;
  }

 private:
  CodeSigningTrust trust_;
};

}  // namespace

std::unique_ptr<CodeSigning> makeLinuxCodeSigning(CodeSigningTrust trust) {
  return std::make_unique<LinuxCodeSigning>(std::move(trust));
}

}  // namespace brindlewick
