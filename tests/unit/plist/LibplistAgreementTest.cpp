// libplist, another reader of property lists, beside this one. It refuses notations that Core Foundation reads and
// reads content that is none; but what both read, they read as the same values, or a listed deviation of libplist
// explains it.

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "platform/AsciiText.h"
#include "platform/UTF8.h"
#include "support/TemporaryFolder.h"
#include "unit/plist/PropertyListContent.h"
#include "unit/plist/PropertyListDump.h"

namespace brindlewick::testing {
namespace {

using Owned = std::unique_ptr<void, decltype(&plist_free)>;

std::string dumpOf(plist_t list);

std::string dumpOfDictionary(plist_t list) {
  std::map<std::string, std::string> entries;
  plist_dict_iter position = nullptr;
  plist_dict_new_iter(list, &position);
  const std::unique_ptr<void, decltype(&std::free)> owner(position, std::free);
  while (true) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(list, position, &key, &value);
    if (key == nullptr) break;
    entries[key] = dumpOf(value);
    std::free(key);
  }
  std::string text = "{";
  for (const auto& [key, value] : entries) text += (text.size() > 1 ? ", " : "") + dumpText(key) + ": " + value;
  return text + "}";
}

std::string dumpOfArray(plist_t list) {
  std::string text = "[";
  for (std::uint32_t i = 0; i < plist_array_get_size(list); ++i)
    text += (i > 0 ? ", " : "") + dumpOf(plist_array_get_item(list, i));
  return text + "]";
}

std::string dumpOf(plist_t list) {
  std::uint64_t number = 0, size = 0;
  std::uint8_t isSet = 0;
  double real = 0;
  switch (plist_get_node_type(list)) {
    case PLIST_BOOLEAN:
      plist_get_bool_val(list, &isSet);
      return isSet != 0 ? "true" : "false";
    case PLIST_UINT:
      plist_get_uint_val(list, &number);
      return std::to_string(static_cast<std::int64_t>(number));
    case PLIST_REAL:
      plist_get_real_val(list, &real);
      return dumpReal(real);
    case PLIST_STRING: {
      const char* text = plist_get_string_ptr(list, &size);
      return dumpText(std::string_view(text, text == nullptr ? 0 : size));
    }
    case PLIST_DATA: {
      const char* data = plist_get_data_ptr(list, &size);
      return dumpData(asBytes(std::string_view(data, data == nullptr ? 0 : size)));
    }
    case PLIST_ARRAY:
      return dumpOfArray(list);
    case PLIST_DICT:
      return dumpOfDictionary(list);
    default:
      return "other";
  }
}

/// What libplist reads; empty if that is no dictionary.
std::string libplistOn(const std::string& content) {
  plist_t list = nullptr;
  const auto size = static_cast<std::uint32_t>(content.size());
  content.starts_with("bplist00") ? plist_from_bin(content.data(), size, &list)
                                  : plist_from_xml(content.data(), size, &list);
  const Owned owner(list, plist_free);
  return list != nullptr && plist_get_node_type(list) == PLIST_DICT ? dumpOf(list) : std::string();
}

std::string withoutMarks(std::string text) {
  constexpr std::string_view mark = R"("\xef\xbb\xbf)";
  for (auto start = text.find(mark); start != std::string::npos; start = text.find(mark, start))
    text.replace(start, mark.size(), "\"");
  return text;
}

std::string withoutData(const std::string& text) {
  std::string result;
  bool isInside = false;
  for (const char c : text) {
    isInside = isInside && c != '>';
    if (!isInside) result += c;
    isInside = isInside || c == '<';
  }
  return result;
}

std::string withoutDigits(std::string text) {
  std::erase_if(text, [](char c) { return isAsciiDigit(c) || c == '-'; });
  return text;
}

/// What libplist reads in another way than Core Foundation, each with the difference that it makes.
struct Deviation {
  const char* what;
  bool (*explains)(const std::string& content, const std::string& ours, const std::string& theirs);
};

constexpr std::array<Deviation, 5> deviations{{
    {"knows the quotes of a document type, which the first bracket ends here",
     [](const auto& content, const auto&, const auto&) {
       const auto type = content.substr(std::min(content.find("<!DOCTYPE"), content.size()));
       return std::ranges::count(type.substr(0, type.find('>')), '"') % 2 != 0;
     }},
    {"keeps the byte order mark at the start of a text",
     [](const auto&, const auto& ours, const auto& theirs) { return ours == withoutMarks(theirs); }},
    {"takes bytes beyond ASCII for UTF-8 whatever their encoding",
     [](const auto&, const auto&, const auto& theirs) { return !isUTF8(unescaped(theirs)); }},
    {"ends data at the first character out of place",
     [](const auto& content, const auto& ours, const auto& theirs) {
       return content.find("<data") != std::string::npos && withoutData(ours) == withoutData(theirs);
     }},
    {"takes an integer behind control characters for zero",
     [](const auto& content, const auto& ours, const auto& theirs) {
       return content.find("<integer") != std::string::npos && withoutDigits(ours) == withoutDigits(theirs);
     }},
}};

void expectAgreement(const std::string& content) {
  const std::string ours = verdictOn(content);
  // It is not asked about the others: some end it by an assertion.
  if (ours.starts_with('(')) return;
  const std::string theirs = libplistOn(content);
  if (theirs.empty() || ours == theirs) return;
  const auto explains = [&](const Deviation& deviation) { return deviation.explains(content, ours, theirs); };
  EXPECT_TRUE(std::ranges::any_of(deviations, explains)) << escaped(content) << "\n" << ours << "\n" << theirs;
}

/// Lists of every kind, with a seed, as libplist writes them.
class Lists {
 public:
  explicit Lists(unsigned seed) : random_(seed) {}

  [[nodiscard]] Owned next() { return {dictionary(0), plist_free}; }
  [[nodiscard]] std::size_t below(std::size_t limit) { return random_() % limit; }

 private:
  plist_t value(int depth) {
    switch (below(depth < 4 ? 8 : 6)) {
      case 0:
        return plist_new_bool(static_cast<std::uint8_t>(below(2)));
      case 1:
        return plist_new_uint(std::uint64_t{random_()} >> below(63));
      case 2:
        return plist_new_real(static_cast<double>(below(1'000'000)) / 64 - 4000);
      case 3:
        return plist_new_date(static_cast<std::int32_t>(below(1'000'000'000)), 0);
      case 4:
        return data();
      case 5:
        return plist_new_string(text().c_str());
      case 6:
        return array(depth + 1);
      default:
        return dictionary(depth + 1);
    }
  }

  plist_t data() {
    std::string bytes;
    for (auto i = below(40); i > 0; --i) bytes += static_cast<char>(below(256));
    return plist_new_data(bytes.data(), bytes.size());
  }

  std::string text() {
    constexpr std::array<const char*, 8> pieces{
        "a", "Resources/", "&", "<b>", "\"'", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
    std::string text;
    for (auto i = below(8); i > 0; --i) text += pieces[below(pieces.size())];
    return text;
  }

  plist_t array(int depth) {
    const plist_t result = plist_new_array();
    for (auto i = below(5); i > 0; --i) plist_array_append_item(result, value(depth));
    return result;
  }

  plist_t dictionary(int depth) {
    const plist_t result = plist_new_dict();
    for (auto i = below(6); i > 0; --i) plist_dict_set_item(result, ("k" + text()).c_str(), value(depth));
    return result;
  }

  std::mt19937 random_;
};

/// `write` answers an error, or nothing in older versions.
std::string written(plist_t list, auto* write) {
  char* bytes = nullptr;
  std::uint32_t size = 0;
  write(list, &bytes, &size);
  const std::unique_ptr<char, decltype(&std::free)> owner(bytes, std::free);
  return std::string(bytes, size);
}

TEST(LibplistAgreement, isWholeOnWhatItWrites) {
  Lists lists(1);
  for (int i = 0; i < 500; ++i) {
    const auto list = lists.next();
    for (const auto& content : {written(list.get(), plist_to_xml), written(list.get(), plist_to_bin)})
      EXPECT_EQ(verdictOn(content), libplistOn(content)) << escaped(content);
  }
}

TEST(LibplistAgreement, isWholeOnTheListsOfApplications) {
  for (const char* name : {"Info.plist", "Info.binary.plist"}) {
    const auto content = readFile(Path(std::string(BRINDLEWICK_TEST_DATA) + "/property_lists/" + name));
    EXPECT_EQ(verdictOn(content), libplistOn(content));
  }
}

/// Changes, takes out, doubles or puts in a few bytes.
std::string mutated(std::string content, Lists& random) {
  constexpr std::array<const char*, 12> pieces{"<!-- -->", "&amp;", "</dict>",      "<dict>", " ",    "<key>a</key>",
                                               "0",        "-",     "\xEF\xBB\xBF", "=",      "\x01", "<true/>"};
  for (auto times = 1 + random.below(3); times > 0 && !content.empty(); --times) {
    const auto position = random.below(content.size());
    switch (random.below(5)) {
      case 0:
        content[position] = static_cast<char>(random.below(256));
        break;
      case 1:
        content[position] = static_cast<char>(content[position] ^ 1 << random.below(8));
        break;
      case 2:
        content.erase(position, 1 + random.below(8));
        break;
      case 3:
        content.insert(position, content.substr(random.below(content.size()), random.below(40)));
        break;
      default:
        content.insert(position, pieces[random.below(pieces.size())]);
    }
  }
  return content;
}

TEST(LibplistAgreement, holdsForMutatedListsButForItsListedDeviations) {
  Lists lists(2);
  for (int i = 0; i < 2000; ++i) {
    const auto list = lists.next();
    for (const auto& content : {written(list.get(), plist_to_xml), written(list.get(), plist_to_bin)})
      for (int variant = 0; variant < 5; ++variant) expectAgreement(mutated(content, lists));
  }
}

}  // namespace
}  // namespace brindlewick::testing
