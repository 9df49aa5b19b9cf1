#pragma once

#include <cstdint>
#include <utility>

#include "plist/PropertyListTree.h"

namespace brindlewick::codesign {

/// How much the property lists that are in use at one time may hold together. While nested code is judged, the lists of
/// every bundle around it stay: without a common limit, nesting would multiply the memory of one.
class PropertyListBudget {
 public:
  static constexpr std::uint64_t maximumByteCount = 64 << 20;
  static constexpr std::uint64_t maximumValueCount = 1'000'000;

  /// What one list takes, until it is gone.
  class Share {
   public:
    Share() noexcept = default;
    Share(Share&& other) noexcept { *this = std::move(other); }
    Share& operator=(Share&& other) noexcept;
    ~Share() { giveBack(); }

   private:
    friend class PropertyListBudget;
    void giveBack() noexcept;

    PropertyListBudget* budget_ = nullptr;
    PropertyListExtent extent_;
  };

  PropertyListBudget() noexcept = default;
  PropertyListBudget(const PropertyListBudget&) = delete;
  PropertyListBudget& operator=(const PropertyListBudget&) = delete;

  /// For a list that was read. The budget must outlive the share. Throws Refusal when nothing is left.
  [[nodiscard]] Share take(const PropertyListExtent& extent);
  /// How large a file may be that is about to be read.
  [[nodiscard]] std::uint64_t bytesLeft() const noexcept { return bytesLeft_; }

 private:
  std::uint64_t bytesLeft_ = maximumByteCount;
  std::uint64_t valuesLeft_ = maximumValueCount;
};

}  // namespace brindlewick::codesign
