#include "plist/XMLPropertyList.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/UTF8.h"
#include "plist/UnicodeText.h"
#include "plist/XMLValues.h"

namespace brindlewick {
namespace {

using enum PropertyListRefusal;

constexpr std::string_view whiteSpace = " \t\r\n";

/// Reads from front to back, each function one thing of the grammar.
class Reader {
 public:
  Reader(std::string_view content, PropertyListMeter& meter) : rest_(content), meter_(meter) {}

  PropertyListNode top() {
    prologue();
    const Tag tag = openingTag();
    if (tag.name != "plist") return value(tag, 0);
    require(!tag.isEmpty && beginsElement(), malformed);
    PropertyListNode node = value(openingTag(), 0);
    require(!beginsElement(), malformed);
    closingTag("plist");
    return node;
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

  void skipWhiteSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(whiteSpace), rest_.size())); }

  /// Everything before `end`, which is taken too. At least so many characters belong to it.
  std::string_view takeUntil(std::string_view end, std::size_t least = 0) {
    const auto length = rest_.find(end, least);
    require(length != std::string_view::npos, malformed);
    const auto taken = rest_.substr(0, length);
    rest_.remove_prefix(length + end.size());
    return taken;
  }

  /// Takes everything up to the "<" of the first element. Nothing in a document type or a declaration is looked at, but
  /// that it declares nothing in brackets. Core Foundation overlooks the end of an empty comment here.
  void prologue() {
    while (true) {
      skipWhiteSpace();
      if (take("<!--")) {
        takeUntil("-->", 1);
      } else if (take("<!DOCTYPE")) {
        require(takeUntil(">").find('[') == std::string_view::npos, malformed);
      } else if (take("<?")) {
        takeUntil("?>");
      } else {
        return require(take("<"), malformed);
      }
    }
  }

  /// Passes over white space, comments and processing instructions. Takes the "<" of an element if one follows, and
  /// stays before the closing tag of the element around it if there is none.
  bool beginsElement() {
    while (true) {
      skipWhiteSpace();
      if (rest_.starts_with("</")) return false;
      if (take("<!--"))
        takeUntil("-->");
      else if (rest_.starts_with("<?"))
        takeUntil("?>", 1);  // "<?>" is one, too
      else
        break;
    }
    require(take("<") && !rest_.starts_with('!'), malformed);
    return true;
  }

  /// What follows the "<". Attributes are passed over, up to the first ">".
  Tag openingTag() {
    const auto tag = takeUntil(">");
    const bool isEmpty = tag.ends_with('/');
    auto name = tag.substr(0, tag.find_first_of(whiteSpace));
    if (isEmpty && name.size() == tag.size()) name.remove_suffix(1);
    return {name, isEmpty};
  }

  void closingTag(std::string_view name) {
    require(take("</") && take(name), malformed);
    skipWhiteSpace();
    require(take(">"), malformed);
  }

  PropertyListNode value(const Tag& tag, int depth) {
    meter_.addValue();
    const auto& name = tag.name;
    if (name == "dict") return tag.isEmpty ? PropertyListNode{PropertyListTree()} : dictionary(depth + 1);
    if (name == "string" || name == "key") return {text(tag)};
    if (name == "true" || name == "false") return {boolean(tag)};
    if (name == "array") return {tag.isEmpty ? PropertyListArray() : array(depth + 1)};
    require(name != "plist", listInsideList);
    require(!tag.isEmpty, malformed);
    return scalar(name);
  }

  PropertyListNode scalar(std::string_view name) {
    PropertyListNode node;
    if (name == "real") {
      node.value = XMLValues::real(decodedText());
    } else {
      const auto raw = rest_.substr(0, rest_.find('<'));
      rest_.remove_prefix(raw.size());
      if (name == "integer")
        node.value = XMLValues::integer(raw);
      else if (name == "data")
        meter_.addBytes(node.value.emplace<Bytes>(XMLValues::data(raw)).size());
      else if (name == "date")
        XMLValues::requireDate(raw);
      else
        throw Failure(malformed);
    }
    closingTag(name);
    return node;
  }

  bool boolean(const Tag& tag) {
    if (!tag.isEmpty) closingTag(tag.name);
    return tag.name == "true";
  }

  /// Text, CDATA sections and references, up to the next tag.
  std::string decodedText() {
    std::string decoded;
    while (true) {
      const auto raw = rest_.substr(0, rest_.find('<'));
      XMLValues::appendDecoded(decoded, raw);
      rest_.remove_prefix(raw.size());
      if (!rest_.starts_with("<!")) break;
      require(take("<![CDATA["), malformed);
      decoded += takeUntil("]]>");
    }
    if (decoded.starts_with(byteOrderMark)) decoded.erase(0, byteOrderMark.size());
    require(isUTF8(decoded), illFormedText);
    return decoded;
  }

  std::string text(const Tag& tag) {
    if (tag.isEmpty) return {};
    std::string decoded = decodedText();
    require(decoded.find('\0') == std::string::npos, textWithNUL);
    meter_.addBytes(decoded.size());
    closingTag(tag.name);
    return decoded;
  }

  PropertyListNode dictionary(int depth) {
    require(depth <= PropertyListMeter::maximumDepth, tooDeep);
    PropertyListTree entries;
    while (beginsElement()) {
      const Tag tag = openingTag();
      require(tag.name == "key", malformed);
      std::string key = text(tag);
      require(beginsElement(), malformed);
      addEntry(entries, std::move(key), value(openingTag(), depth));
    }
    closingTag("dict");
    return isUID(entries) ? PropertyListNode() : PropertyListNode{std::move(entries)};
  }

  /// XML has no element for a UID, so this dictionary stands for one.
  static bool isUID(const PropertyListTree& entries) {
    const auto* number = entries.size() == 1 ? find(entries, "CF$UID") : nullptr;
    return number != nullptr && (number->as<std::int64_t>() != nullptr || number->as<double>() != nullptr);
  }

  PropertyListArray array(int depth) {
    require(depth <= PropertyListMeter::maximumDepth, tooDeep);
    PropertyListArray elements;
    while (beginsElement()) elements.push_back(value(openingTag(), depth));
    closingTag("array");
    return elements;
  }

  std::string_view rest_;
  PropertyListMeter& meter_;
};

}  // namespace

PropertyListNode readXMLPropertyList(std::string_view content, PropertyListMeter& meter) {
  return Reader(content, meter).top();
}

}  // namespace brindlewick
