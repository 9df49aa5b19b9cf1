#include "support/UnknownMembers.h"

namespace brindlewick::testing {
namespace {

std::string behind(std::string_view object, const std::string& text) {
  return std::string(object.substr(0, object.rfind('}'))) + "," + text + "}";
}

std::string before(std::string_view object, const std::string& text) {
  return "{" + text + "," + std::string(object.substr(object.find('{') + 1));
}

void addBothWays(std::vector<ChangedText>& texts, std::string_view object, const std::string& member) {
  texts.push_back({member.substr(0, 40) + " before", before(object, member)});
  texts.push_back({member.substr(0, 40) + " behind", behind(object, member)});
}

}  // namespace

std::vector<ChangedText> withMembersToIgnore(std::string_view object) {
  const std::string deep = std::string(10'000, '[') + "1e400" + std::string(10'000, ']');
  std::vector<ChangedText> texts;
  for (const std::string& value :
       {std::string("1e400"), std::string("-1e400"), std::string("1e-400"), std::string("1E+99999999999999999999"),
        std::string("0.1e4000"), std::string(5000, '9'), "-" + std::string(5000, '9'), "1." + std::string(5000, '0'),
        std::string("18446744073709551616"), std::string("-0"), std::string("[1e400,{\"x\":-1e400,\"x\":{}}]"), deep,
        std::string("null"), std::string("\"\\ud83d\\ude00\\u0000\""), std::string("{\"payload\":1,\"build\":1e400}")})
    addBothWays(texts, object, "\"x\":" + value);
  for (const char* members :
       {"\"x\":1,\"x\":1", "\"x\":1,\"x\":\"1\"", "\"x\":1,\"\\u0078\":{}", "\"x\":1e400,\"x\":1e400", "\"\":0,\"\":0"})
    addBothWays(texts, object, members);
  texts.push_back({"twice, around", behind(before(object, "\"x\":1"), "\"x\":[]")});
  texts.push_back({"white space", " \t\r\n" + std::string(object) + "\n\r\t "});
  return texts;
}

std::vector<ChangedText> spoiledJSON(std::string_view object) {
  std::vector<ChangedText> texts;
  // What stands behind the document counts, whatever a number before it was like.
  const std::string huge = before(object, "\"x\":1e400"), hugeBehind = behind(object, "\"x\":1e400");
  for (const std::string& valid : {std::string(object), huge, hugeBehind}) {
    for (const std::string& rubbish : {std::string("x"), std::string("}"), std::string("{}"), std::string(","),
                                       std::string("1e400"), std::string(1, '\0'), std::string("\xEF\xBB\xBF"),
                                       std::string("\xC2\xA0"), std::string("\f"), std::string("/**/")})
      texts.push_back({"rubbish behind", valid + rubbish});
    texts.push_back({"no end", valid.substr(0, valid.size() - 1)});
    texts.push_back({"another end", valid.substr(0, valid.size() - 1) + "]"});
  }
  for (const std::string& value : {std::string(),
                                   std::string("-"),
                                   std::string("+1"),
                                   std::string("01"),
                                   std::string("-01"),
                                   std::string("1."),
                                   std::string(".5"),
                                   std::string("1.e5"),
                                   std::string("1e"),
                                   std::string("1e+"),
                                   std::string("1e400x"),
                                   std::string("1e400.5"),
                                   std::string("1e400e1"),
                                   std::string("1 e400"),
                                   std::string("0x10"),
                                   std::string("NaN"),
                                   std::string("Infinity"),
                                   std::string("-Infinity"),
                                   std::string("tru"),
                                   std::string("truee"),
                                   std::string("True"),
                                   std::string("nul"),
                                   std::string("'x'"),
                                   std::string("\"\\x\""),
                                   std::string("\"\\u12\""),
                                   std::string("\"\\u12g4\""),
                                   std::string("\"\\ud800\""),
                                   std::string("\"\\ud800\\u0041\""),
                                   std::string("\"\\ud800\\ud800\""),
                                   std::string("\"\\udc00\""),
                                   std::string("\"\n\""),
                                   std::string("\"\x1F\""),
                                   std::string("\"\xFF\""),
                                   std::string("\"\xC0\x80\""),
                                   std::string("\"\xED\xA0\x80\""),
                                   std::string("\"\xE2\""),
                                   std::string("\"\0\"", 3),
                                   std::string("[1e400"),
                                   std::string("[1e400,]"),
                                   std::string("[,]"),
                                   std::string("[1 2]"),
                                   std::string("[1e400}"),
                                   std::string("{\"a\"}"),
                                   std::string("{\"a\":}"),
                                   std::string("{1:1}"),
                                   std::string("{\"a\":1e400,}"),
                                   std::string("1,"),
                                   std::string("1:1")})
    addBothWays(texts, object, "\"x\":" + value);
  for (const char* member : {"x:1", "\"x\"", "\"x\" 1", "1", "null", "[]", "\"x\"::1", "\"x\":1 \"y\":1", "", ","})
    addBothWays(texts, object, member);
  return texts;
}

}  // namespace brindlewick::testing
