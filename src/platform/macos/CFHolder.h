#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace brindlewick {

/// Owns one reference to a Core Foundation object and releases it.
template <typename Reference>
class CFHolder {
 public:
  CFHolder() = default;
  /// Takes over a reference from a function that creates or copies; null is allowed.
  explicit CFHolder(Reference created) noexcept : reference_(created) {}
  ~CFHolder() {
    if (reference_ != nullptr) CFRelease(reference_);
  }
  CFHolder(CFHolder&& other) noexcept : reference_(std::exchange(other.reference_, nullptr)) {}
  CFHolder& operator=(CFHolder&& other) noexcept {
    std::swap(reference_, other.reference_);
    return *this;
  }
  CFHolder(const CFHolder&) = delete;
  CFHolder& operator=(const CFHolder&) = delete;

  [[nodiscard]] Reference get() const noexcept { return reference_; }
  [[nodiscard]] explicit operator bool() const noexcept { return reference_ != nullptr; }

  /// For a function that creates through a pointer; only while nothing is held.
  [[nodiscard]] Reference* out() noexcept { return &reference_; }

 private:
  Reference reference_ = nullptr;
};

}  // namespace brindlewick
