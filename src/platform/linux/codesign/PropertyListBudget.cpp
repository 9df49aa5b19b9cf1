#include "platform/linux/codesign/PropertyListBudget.h"

#include "platform/linux/codesign/Refusal.h"

namespace brindlewick::codesign {
namespace {

struct Extent {
  std::uint64_t byteCount = 0;
  std::uint64_t valueCount = 0;

  void add(const PropertyListTree& tree) {
    for (const auto& [key, node] : tree) {
      byteCount += key.size();
      add(node);
    }
  }

  /// Lists of the parser have at most 32 levels.
  void add(const PropertyListNode& node) {
    ++valueCount;
    if (const auto* text = node.as<std::string>()) byteCount += text->size();
    if (const auto* data = node.as<Bytes>()) byteCount += data->size();
    if (const auto* dictionary = node.as<PropertyListTree>()) add(*dictionary);
    if (const auto* array = node.as<PropertyListArray>())
      for (const PropertyListNode& element : *array) add(element);
  }
};

}  // namespace

PropertyListBudget::Share& PropertyListBudget::Share::operator=(Share&& other) noexcept {
  if (this != &other) {
    giveBack();
    budget_ = std::exchange(other.budget_, nullptr);
    byteCount_ = other.byteCount_;
    valueCount_ = other.valueCount_;
  }
  return *this;
}

void PropertyListBudget::Share::giveBack() noexcept {
  if (budget_ == nullptr) return;
  budget_->bytesLeft_ += byteCount_;
  budget_->valuesLeft_ += valueCount_;
  budget_ = nullptr;
}

PropertyListBudget::Share PropertyListBudget::take(ByteView content, const PropertyListTree& list) {
  Extent extent{content.size()};
  extent.add(list);
  require(extent.byteCount <= bytesLeft_ && extent.valueCount <= valuesLeft_,
          "the property lists in use hold no more than one may");
  bytesLeft_ -= extent.byteCount;
  valuesLeft_ -= extent.valueCount;
  Share share;
  share.budget_ = this;
  share.byteCount_ = extent.byteCount;
  share.valueCount_ = extent.valueCount;
  return share;
}

}  // namespace brindlewick::codesign
