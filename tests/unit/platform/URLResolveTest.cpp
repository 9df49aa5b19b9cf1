#include <gtest/gtest.h>

#include "platform/AsciiText.h"
#include "platform/URL.h"

namespace brindlewick {
namespace {

struct Resolution {
  const char* reference;
  const char* result;
};

std::string resolve(const char* base, const char* reference) {
  const auto resolved = URL::parse(base)->resolve(reference);
  return resolved ? resolved->string() : "none";
}

/// RFC 3986, section 5.4.1.
TEST(URLResolve, followsTheStandardsNormalExamples) {
  constexpr Resolution examples[] = {
      {"g:h", "g:h"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q#s"},
      {"g#s", "http://a/b/c/g#s"},
      {"g?y#s", "http://a/b/c/g?y#s"},
      {";x", "http://a/b/c/;x"},
      {"g;x", "http://a/b/c/g;x"},
      {"g;x?y#s", "http://a/b/c/g;x?y#s"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"./", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../", "http://a/b/"},
      {"../g", "http://a/b/g"},
      {"../..", "http://a/"},
      {"../../", "http://a/"},
      {"../../g", "http://a/g"},
  };
  for (const auto& [reference, result] : examples) EXPECT_EQ(resolve("http://a/b/c/d;p?q", reference), result);
}

/// RFC 3986, section 5.4.2; of the last example the strict answer.
TEST(URLResolve, followsTheStandardsAbnormalExamples) {
  constexpr Resolution examples[] = {
      {"../../../g", "http://a/g"},
      {"../../../../g", "http://a/g"},
      {"/./g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {".g", "http://a/b/c/.g"},
      {"g..", "http://a/b/c/g.."},
      {"..g", "http://a/b/c/..g"},
      {"./../g", "http://a/b/g"},
      {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
      {"g;x=1/../y", "http://a/b/c/y"},
      {"g?y/./x", "http://a/b/c/g?y/./x"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      {"g#s/./x", "http://a/b/c/g#s/./x"},
      {"g#s/../x", "http://a/b/c/g#s/../x"},
      {"http:g", "http:g"},
  };
  for (const auto& [reference, result] : examples) EXPECT_EQ(resolve("http://a/b/c/d;p?q", reference), result);
}

TEST(URLResolve, leavesEveryEscapeAsItIs) {
  constexpr Resolution examples[] = {
      {"/group%2Fproject/-/a.zip", "https://h/group%2Fproject/-/a.zip"},
      {"/%61", "https://h/%61"},
      {"/%e4%E4?%2f%2F#%aB", "https://h/%e4%E4?%2f%2F#%aB"},
      {"%2e%2E/x", "https://h/%2Fa/%2e%2E/x"},
      {"..%2fx", "https://h/%2Fa/..%2fx"},
      {"?", "https://h/%2Fa/b%2f?"},
      {"", "https://h/%2Fa/b%2f?%3f"},
      {"HTTPS://H%41/%61?", "HTTPS://H%41/%61?"},
  };
  for (const auto& [reference, result] : examples) EXPECT_EQ(resolve("https://h/%2Fa/b%2f?%3f", reference), result);
}

TEST(URLResolve, putsASlashBetweenAHostAndAPath) {
  EXPECT_EQ(resolve("https://h", "x"), "https://h/x");
  EXPECT_EQ(resolve("https://h?q", "../x"), "https://h/x");
  EXPECT_EQ(resolve("https://h", ""), "https://h");
  EXPECT_EQ(resolve("https://h", "//"), "https://");
}

TEST(URLResolve, keepsEmptySegments) {
  EXPECT_EQ(resolve("https://h/a/b", "/..//x"), "https://h//x");
  EXPECT_EQ(resolve("https://h/a/b", ".//x"), "https://h/a//x");
  EXPECT_EQ(resolve("https://h//a", "../x"), "https://h/x");
  EXPECT_EQ(resolve("https://h/a//b", "../x"), "https://h/a/x");
}

/// What dots mean on a path that begins with a slash, told by a list of segments.
std::string withoutDots(std::string_view path) {
  std::vector<std::string_view> kept;
  const auto segments = split(path.substr(1), '/');
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const bool isDots = segments[i] == "." || segments[i] == "..";
    if (segments[i] == ".." && !kept.empty()) kept.pop_back();
    if (!isDots) kept.push_back(segments[i]);
    if (isDots && i + 1 == segments.size()) kept.emplace_back();
  }
  std::string joined;
  for (const auto segment : kept) joined.append("/").append(segment);
  return joined;
}

TEST(URLResolve, removesTheDotsOfEveryShortPathAndNothingElse) {
  constexpr const char* segments[] = {"", ".", "..", "a", "%2E"};
  const auto base = URL::parse("https://h/x//y/z?q");
  std::vector<std::string> paths{""};
  for (std::size_t i = 0; i < paths.size() && paths[i].size() < 12; ++i)
    for (const char* segment : segments) paths.push_back(paths[i] + "/" + segment);
  for (const auto& path : paths) {
    if (path.empty()) continue;
    EXPECT_EQ(base->resolve("//h" + path)->path(), withoutDots(path));
    if (!path.starts_with("//")) {
      EXPECT_EQ(base->resolve(path)->path(), withoutDots(path));
    }
    EXPECT_EQ(base->resolve("." + path)->path(), withoutDots("/x//y/." + path));
  }
}

/// By the letter of section 5.2.4, where libraries differ.
TEST(URLResolve, removesTheDotsOfAPathWithoutASlashBeforeIt) {
  constexpr Resolution examples[] = {
      {"../x", "a:x"},      {"../../x", "a:x"},     {"./x", "a:x"},          {"..", "a:"},
      {".", "a:"},          {"a:../x", "a:x"},      {"s:.././../x", "s:x"},  {"s:.", "s:"},
      {"s:..?q", "s:?q"},   {"s:x/.", "s:x/"},      {"s:x/../y", "s:/y"},    {"s:x/..", "s:/"},
      {"s:x/../..", "s:/"}, {"s:.../x", "s:.../x"}, {"s:x/../../y", "s:/y"},
  };
  for (const auto& [reference, result] : examples) EXPECT_EQ(resolve("a:b", reference), result) << reference;
}

TEST(URLResolve, neverTurnsAPathIntoAHost) {
  EXPECT_EQ(resolve("a:/b", "/..//x"), "none");
  EXPECT_EQ(resolve("a:/b", ".//x"), "none");
  EXPECT_EQ(resolve("https://h/", "a:/.//x"), "none");
  EXPECT_EQ(resolve("a:/b", "/./x"), "a:/x");
  EXPECT_EQ(resolve("file:///b", "/..//x"), "file:////x");
}

TEST(URLResolve, isAbsentWithoutASchemeOrAReference) {
  EXPECT_EQ(resolve("//h/a", "b"), "none");
  EXPECT_EQ(resolve("a", "https://h/"), "none");
  for (const char* text : {":", "1:x", "https://exa mple/", "a:b c", "%", "[", "//[::1", "\\x", "\x12"})
    EXPECT_EQ(resolve("https://h/a", text), "none") << text;
}

}  // namespace
}  // namespace brindlewick
