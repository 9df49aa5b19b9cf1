#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "platform/UTF8.h"
#include "platform/linux/PropertyListSyntax.h"
#include "platform/linux/PropertyListText.h"

namespace brindlewick::PropertyListSyntax {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

/// Whether every character may stand in XML 1.0.
bool isXMLText(std::string_view content) {
  for (const char character : content)
    if (static_cast<unsigned char>(character) < 0x20 && whiteSpace.find(character) == std::string_view::npos)
      return false;
  return isUTF8(content) && content.find("\xEF\xBF\xBE") == std::string_view::npos &&
         content.find("\xEF\xBF\xBF") == std::string_view::npos;
}

/// libplist finds keys in 4096 lists, chosen by a function for which anybody can find equal results. This is how often
/// it would compare two keys while it fills a dictionary.
std::size_t comparisonCount(const std::set<std::string>& keys) {
  std::array<std::size_t, 4096> lists{};
  std::size_t count = 0;
  for (const auto& key : keys) {
    std::uint32_t hash = 5381;
    for (const char character : key) hash = hash * 33 + static_cast<std::uint32_t>(character);
    count += lists[hash % lists.size()]++;
  }
  return count;
}

/// A dictionary of half a million harmless keys needs as many.
constexpr std::size_t maximumComparisonCount = 32 * 1024 * 1024;
/// Smaller dictionaries are searched from the front, which cannot take long.
constexpr std::size_t listedKeyCount = 250;
/// libplist moves the rest of a text for each entity in it: some seconds' worth of bytes.
constexpr std::size_t maximumMovedByteCount = std::size_t{4} * 1024 * 1024 * 1024;

/// Reads from front to back, each function one thing of the grammar; false or absent when it is not there.
class Reader {
 public:
  explicit Reader(std::string_view content) : rest_(content) {}

  [[nodiscard]] std::optional<Extent> extent() {
    if (!prologue() || !plistTag() || !gap() || !rest_.starts_with("<dict") || !value(1)) return std::nullopt;
    if (!gap() || !take("</plist>")) return std::nullopt;
    skipWhiteSpace();
    return rest_.empty() ? std::optional(extent_) : std::nullopt;
  }

 private:
  struct Tag {
    std::string_view name;
    bool isEmpty;
  };

  bool take(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  bool skipWhiteSpace() {
    const auto count = std::min(rest_.find_first_not_of(whiteSpace), rest_.size());
    rest_.remove_prefix(count);
    return count > 0;
  }

  /// Everything before the character, which is taken too.
  std::optional<std::string_view> takeUntil(char end) {
    const auto length = rest_.find(end);
    if (length == std::string_view::npos) return std::nullopt;
    const auto taken = rest_.substr(0, length);
    rest_.remove_prefix(length + 1);
    return taken;
  }

  /// White space and comments between elements. XML has no "--" inside a comment.
  bool gap() {
    skipWhiteSpace();
    while (take("<!--")) {
      const auto length = rest_.find("--");
      if (length == std::string_view::npos) return false;
      rest_.remove_prefix(length + 2);
      if (!take(">")) return false;
      skipWhiteSpace();
    }
    return true;
  }

  bool prologue() {
    if (take("<?xml") && !declaration()) return false;
    return gap() && (!take("<!DOCTYPE") || documentType()) && gap();
  }

  /// ` name="value"`; absent without having read anything if another thing follows.
  std::optional<std::string_view> attribute(std::string_view name) {
    const auto before = rest_;
    if (skipWhiteSpace() && take(name) && take("=") && take("\"")) return takeUntil('"');
    rest_ = before;
    return std::nullopt;
  }

  bool declaration() {
    if (attribute("version") != "1.0") return false;
    const auto encoding = attribute("encoding").value_or("UTF-8");
    if (encoding != "UTF-8" && encoding != "utf-8") return false;
    const auto standalone = attribute("standalone").value_or("no");
    if (standalone != "no" && standalone != "yes") return false;
    skipWhiteSpace();
    return take("?>");
  }

  /// The name of a document type, which nobody fetches.
  bool literal() {
    if (!skipWhiteSpace() || !take("\"")) return false;
    const auto text = takeUntil('"');
    return text && text->find_first_of("<>[]&'") == std::string_view::npos;
  }

  bool documentType() {
    if (!skipWhiteSpace() || !take("plist")) return false;
    if (skipWhiteSpace()) {
      if (take("PUBLIC") && (!literal() || !literal())) return false;
      if (take("SYSTEM") && !literal()) return false;
      skipWhiteSpace();
    }
    return take(">");
  }

  bool plistTag() { return take("<plist") && attribute("version").value_or("1.0") == "1.0" && take(">"); }

  std::optional<Tag> openingTag() {
    if (!take("<")) return std::nullopt;
    const auto length = std::min(rest_.find_first_not_of("abcdefghijklmnopqrstuvwxyz"), rest_.size());
    const auto name = rest_.substr(0, length);
    rest_.remove_prefix(length);
    if (take("/>") || take(" />")) return Tag{name, true};
    if (take(">")) return Tag{name, false};
    return std::nullopt;
  }

  /// The text up to the closing tag of an element, undecoded.
  std::optional<std::string_view> content(std::string_view element) {
    const auto text = takeUntil('<');
    return text && take("/") && take(element) && take(">") ? text : std::nullopt;
  }

  std::optional<std::string> text(std::string_view element) {
    const auto raw = content(element);
    auto decoded = raw ? PropertyListText::decoded(*raw) : std::nullopt;
    if (!decoded) return std::nullopt;
    if (decoded->size() != raw->size()) movedByteCount_ += entityCount(*raw) * raw->size();
    if (movedByteCount_ > maximumMovedByteCount) return std::nullopt;
    extent_.byteCount += decoded->size();
    return decoded;
  }

  static std::size_t entityCount(std::string_view raw) {
    std::size_t count = 0;
    for (const char character : raw) count += character == '&' ? 1 : 0;
    return count;
  }

  bool value(int depth) {
    const auto tag = openingTag();
    if (!tag || ++extent_.valueCount > maximumValueCount) return false;
    const auto& name = tag->name;
    if ((name == "dict" || name == "array") && depth > maximumDepth) return false;
    if (name == "true" || name == "false") return tag->isEmpty;
    if (tag->isEmpty) return name == "dict" || name == "array" || name == "string" || name == "data";
    if (name == "dict") return dictionary(depth);
    if (name == "array") return array(depth);
    if (name == "string") return text(name).has_value();
    const auto raw = content(name);
    return raw && scalar(name, *raw);
  }

  bool scalar(std::string_view name, std::string_view raw) {
    if (name == "integer") return PropertyListText::isInteger(raw);
    if (name == "real") return PropertyListText::isReal(raw);
    if (name == "date") return PropertyListText::isDate(raw);
    if (name != "data") return false;
    const auto byteCount = PropertyListText::base64ByteCount(raw);
    extent_.byteCount += byteCount.value_or(0);
    return byteCount.has_value();
  }

  bool dictionary(int depth) {
    std::set<std::string> keys;
    while (true) {
      if (!gap()) return false;
      if (take("</dict>")) break;
      auto key = take("<key>") ? text("key") : std::nullopt;
      // Apple's reader takes a dictionary with the second of these for a UID.
      if (!key || key->empty() || *key == "CF$UID") return false;
      if (!gap() || !value(depth + 1) || !keys.insert(std::move(*key)).second) return false;
    }
    if (keys.size() > listedKeyCount) comparisonCount_ += comparisonCount(keys);
    return comparisonCount_ <= maximumComparisonCount;
  }

  bool array(int depth) {
    while (gap()) {
      if (take("</array>")) return true;
      if (!value(depth + 1)) return false;
    }
    return false;
  }

  std::string_view rest_;
  Extent extent_;
  std::size_t comparisonCount_ = 0;
  std::size_t movedByteCount_ = 0;
};

}  // namespace

std::optional<Extent> xmlExtent(std::string_view content) {
  if (content.size() > maximumContentByteCount || !isXMLText(content)) return std::nullopt;
  return Reader(content).extent();
}

}  // namespace brindlewick::PropertyListSyntax
