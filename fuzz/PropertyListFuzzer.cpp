// Whatever bytes a bundle has for a property list, they are read or refused; and what is read is sound and has one
// meaning: written out as a binary list, it is read as the same.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/UTF8.h"
#include "plist/PropertyListTree.h"

namespace {

using namespace brindlewick;

std::string bigEndian(std::uint64_t number, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

/// The simplest form of a binary list: each value an object of its own, all numbers in full width, texts in UTF-16.
class Writer {
 public:
  std::string write(const PropertyListTree& tree) {
    const auto top = add(tree);
    std::string content = "bplist00", table;
    for (const auto& object : objects_) {
      table += bigEndian(content.size(), 8);
      content += object;
    }
    return content + table + std::string(6, '\0') + "\x08\x04" + bigEndian(objects_.size(), 8) + bigEndian(top, 8) +
           bigEndian(content.size(), 8);
  }

  std::uint64_t operator()(const PropertyListTree& tree) { return add(tree); }
  std::uint64_t operator()(const PropertyListArray& array) {
    std::string references;
    for (const auto& element : array) references += bigEndian(std::visit(*this, element.value), 4);
    return put(counted('\xA0', array.size()) + references);
  }
  std::uint64_t operator()(const std::string& text) { return put(written(text)); }
  std::uint64_t operator()(const Bytes& data) { return put(counted('\x40', data.size()) + std::string(asText(data))); }
  std::uint64_t operator()(double real) { return put("\x23" + bigEndian(std::bit_cast<std::uint64_t>(real), 8)); }
  std::uint64_t operator()(std::int64_t number) {
    return put("\x13" + bigEndian(static_cast<std::uint64_t>(number), 8));
  }
  std::uint64_t operator()(bool value) { return put(value ? "\x09" : "\x08"); }
  std::uint64_t operator()(std::monostate) { return put("\x33" + bigEndian(0, 8)); }

 private:
  std::uint64_t put(std::string object) {
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }

  static std::string counted(char kind, std::size_t count) {
    return std::string(1, static_cast<char>(kind | 0xF)) + "\x13" + bigEndian(count, 8);
  }

  std::uint64_t add(const PropertyListTree& tree) {
    std::string keys, values;
    for (const auto& [key, node] : tree) {
      keys += bigEndian(put(written(key)), 4);
      values += bigEndian(std::visit(*this, node.value), 4);
    }
    return put(counted('\xD0', tree.size()) + keys + values);
  }

  static std::string written(const std::string& text) {
    if (!isUTF8(text) || text.find('\0') != std::string::npos) __builtin_trap();
    std::string units;
    for (std::size_t i = 0; i < text.size();) {
      const auto byte = [&](std::size_t offset) { return static_cast<std::uint8_t>(text[i + offset]); };
      const int length = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
      std::uint32_t character = length == 1 ? byte(0) : byte(0) & (0x7FU >> length);
      for (int k = 1; k < length; ++k) character = character << 6 | (byte(static_cast<std::size_t>(k)) & 0x3FU);
      if (character >= 0x10000) units += bigEndian(0xD800 + ((character - 0x10000) >> 10), 2);
      units += bigEndian(character >= 0x10000 ? 0xDC00 + (character & 0x3FF) : character, 2);
      i += static_cast<std::size_t>(length);
    }
    return units.empty() ? "\x50" : counted('\x60', units.size() / 2) + units;
  }

  std::vector<std::string> objects_;
};

bool areEqual(const PropertyListTree& left, const PropertyListTree& right);
bool areEqual(const PropertyListArray& left, const PropertyListArray& right);
bool areEqual(double left, double right) {
  return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}
template <typename Scalar>
bool areEqual(const Scalar& left, const Scalar& right) {
  return left == right;
}

bool areEqual(const PropertyListNode& left, const PropertyListNode& right) {
  return std::visit(
      [&right](const auto& value) {
        const auto* other = right.as<std::remove_cvref_t<decltype(value)>>();
        return other != nullptr && areEqual(value, *other);
      },
      left.value);
}

bool areEqual(const PropertyListTree& left, const PropertyListTree& right) {
  if (left.size() != right.size()) return false;
  for (auto l = left.begin(), r = right.begin(); l != left.end(); ++l, ++r)
    if (l->first != r->first || !areEqual(l->second, r->second)) return false;
  return true;
}

bool areEqual(const PropertyListArray& left, const PropertyListArray& right) {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i)
    if (!areEqual(left[i], right[i])) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto list = measurePropertyList(ByteView(data, size));
  if (!list) return 0;
  const auto again = measurePropertyList(asBytes(Writer().write(list->top)));
  if (!again || !areEqual(list->top, again->top)) __builtin_trap();
  if (list->extent.valueCount != again->extent.valueCount || list->extent.byteCount < size) __builtin_trap();
  return 0;
}
