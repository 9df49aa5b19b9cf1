#include "platform/linux/codesign/PropertyListBudget.h"

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {

PropertyListBudget::Share& PropertyListBudget::Share::operator=(Share&& other) noexcept {
  if (this != &other) {
    giveBack();
    budget_ = std::exchange(other.budget_, nullptr);
    extent_ = other.extent_;
  }
  return *this;
}

void PropertyListBudget::Share::giveBack() noexcept {
  if (budget_ == nullptr) return;
  budget_->bytesLeft_ += extent_.byteCount;
  budget_->valuesLeft_ += extent_.valueCount;
  budget_ = nullptr;
}

PropertyListBudget::Share PropertyListBudget::take(const PropertyListExtent& extent) {
  require(extent.byteCount <= bytesLeft_ && extent.valueCount <= valuesLeft_,
          "the property lists in use hold no more than one may");
  bytesLeft_ -= extent.byteCount;
  valuesLeft_ -= extent.valueCount;
  Share share;
  share.budget_ = this;
  share.extent_ = extent;
  return share;
}

}  // namespace brindlewick::codesign
