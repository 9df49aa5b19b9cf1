#pragma once

#include "plist/PropertyListRefusal.h"
#include "plist/PropertyListTree.h"

namespace brindlewick {

/// Counts what a list takes while it is built, and refuses more than a list may take.
class PropertyListMeter {
 public:
  static constexpr std::uint64_t maximumByteCount = 64 * 1024 * 1024;
  static constexpr std::uint64_t maximumValueCount = 1'000'000;
  static constexpr int maximumDepth = 512;

  /// Throws Failure<PropertyListRefusal> tooLarge, like its functions.
  explicit PropertyListMeter(ByteView content) : contentByteCount_(content.size()) {
    require(content.size() <= maximumByteCount, PropertyListRefusal::tooLarge);
  }

  void addValue() { require(++valueCount_ <= maximumValueCount, PropertyListRefusal::tooLarge); }
  /// Of a key, a text or data.
  void addBytes(std::uint64_t count) {
    require((byteCount_ += count) <= maximumByteCount, PropertyListRefusal::tooLarge);
  }

  [[nodiscard]] PropertyListExtent extent() const noexcept { return {contentByteCount_ + byteCount_, valueCount_}; }

 private:
  std::uint64_t contentByteCount_;
  std::uint64_t byteCount_ = 0;
  std::uint64_t valueCount_ = 0;
};

/// Puts an entry into a dictionary. Throws Failure<PropertyListRefusal> repeatedKey.
inline void addEntry(PropertyListTree& dictionary, std::string key, PropertyListNode value) {
  const auto size = dictionary.size();
  // Most lists are sorted: a new key belongs at the end.
  dictionary.try_emplace(dictionary.end(), std::move(key), std::move(value));
  require(dictionary.size() > size, PropertyListRefusal::repeatedKey);
}

}  // namespace brindlewick
