#include "platform/UTF8.h"

#include <gtest/gtest.h>

#include <string>

namespace brindlewick {
namespace {

TEST(UTF8, acceptsWellFormedText) {
  EXPECT_TRUE(isUTF8(""));
  EXPECT_TRUE(isUTF8("plain"));
  EXPECT_TRUE(isUTF8(std::string_view("\0\x7F", 2)));
  for (const char* text : {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
                           "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "a\xC3\xA4z"})
    EXPECT_TRUE(isUTF8(text)) << text;
}

TEST(UTF8, refusesEveryOtherByteSequence) {
  for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x7F", "\xE0\x9F\xBF", "\xE1\x80",
                           "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",
                           "\xFE", "\xFF", "ok\xC3", "\xF0\x90\x80"})
    EXPECT_FALSE(isUTF8(text));
}

}  // namespace
}  // namespace brindlewick
