#pragma once

#include <concepts>
#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace brindlewick {

/// An error that carries one fixed sentence for the user. The front end asks any exception for this base and so needs
/// to know none of the enumerations.
class DescribedError : public std::exception {
 public:
  [[nodiscard]] virtual std::string_view description() const noexcept = 0;
};

/// An enumeration whose cases each have a sentence, given by a `describe` beside it.
template <typename Case>
concept DescribedCase = requires(Case value) {
  { describe(value) } -> std::same_as<std::string_view>;
};

/// One case of a subsystem's error enumeration, thrown as a value.
template <DescribedCase Case>
class Failure final : public DescribedError {
 public:
  explicit Failure(Case failed) noexcept : case_(failed) {}

  [[nodiscard]] Case failedCase() const noexcept { return case_; }
  [[nodiscard]] std::string_view description() const noexcept override { return describe(case_); }
  /// The sentence again: every sentence is a literal, so its bytes end in NUL.
  [[nodiscard]] const char* what() const noexcept override { return describe(case_).data(); }

 private:
  Case case_;
};

/// Throws the case unless the condition holds.
template <DescribedCase Case>
void require(bool condition, Case otherwise) {
  if (!condition) throw Failure(otherwise);
}

/// The value inside, or the case thrown.
template <typename Value, DescribedCase Case>
[[nodiscard]] Value unwrap(std::optional<Value> value, Case otherwise) {
  if (!value) throw Failure(otherwise);
  return *std::move(value);
}

}  // namespace brindlewick
