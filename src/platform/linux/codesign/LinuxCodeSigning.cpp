#include "platform/linux/codesign/LinuxCodeSigning.h"

#include <fcntl.h>

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
  LinuxStaticCode(const Path& path, const CodeSigningTrust& trust) : path_(path), trust_(trust) {}

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
  [[nodiscard]] std::optional<ValidatedCode> judge() const try {
    const CodeValidation validation(trust_, NestedCodeDepth::shallow);
    const Folder parent = Folder::open(path_.parent());
    const std::string name(path_.lastComponent());
    const auto status = parent.status(name);
    if (status && status->kind == ItemKind::directory) return validation.bundle(parent.folder(name), name);
    FileSource file = parent.file(name);
    return validation.file(file);
  } catch (const std::exception&) {
    return std::nullopt;
  }

  Path path_;
  const CodeSigningTrust& trust_;
  bool isJudged_ = false;
  std::optional<ValidatedCode> code_;
};

class LinuxCodeSigning final : public CodeSigning {
 public:
  explicit LinuxCodeSigning(CodeSigningTrust trust) : trust_(std::move(trust)) {}

  [[nodiscard]] std::unique_ptr<StaticCode> staticCode(const Path& path) override {
    return std::make_unique<LinuxStaticCode>(path, trust_);
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
