#include "support/FakeCodeSigning.h"

#include "platform/PlatformError.h"
#include "support/TemporaryFolder.h"

namespace brindlewick::testing {
namespace {

class FakeRequirement final : public CodeRequirement {};

class FakeCode final : public StaticCode {
 public:
  FakeCode(std::string seal, bool isDamaged) : seal_(std::move(seal)), isDamaged_(isDamaged) {}

  [[nodiscard]] bool isValid() override { return !isDamaged_ && has("valid"); }
  [[nodiscard]] bool satisfies(const CodeRequirement& /*requirement*/) override {
    return isValid() && has("developerID");
  }
  [[nodiscard]] std::optional<std::string> teamIdentifier() override {
    const auto at = seal_.find("team ");
    return at == seal_.npos ? std::nullopt : std::optional(seal_.substr(at + 5));
  }

 private:
  [[nodiscard]] bool has(std::string_view word) const { return seal_.find(word) != seal_.npos; }

  std::string seal_;
  bool isDamaged_;
};

}  // namespace

std::unique_ptr<StaticCode> FakeCodeSigning::staticCode(const Path& path) {
  log_.add("code " + path.string());
  if (readingFailure_) throw PlatformError("read", path.string(), std::make_error_code(*readingFailure_));
  const auto seal = path / "Contents/_CodeSignature/CodeResources";
  if (!exists(seal)) return nullptr;
  return std::make_unique<FakeCode>(readFile(seal), ++asked_ == damaged_);
}

std::unique_ptr<CodeRequirement> FakeCodeSigning::requirement(std::string_view text) {
  log_.add("requirement " + std::string(text));
  return compiles_ ? std::make_unique<FakeRequirement>() : nullptr;
}

}  // namespace brindlewick::testing
