#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brindlewick::codesign {

enum class RequirementTokenKind {
  word,     ///< a letter, then letters and digits; further parts behind dots may be all digits. Keywords are words.
  quoted,   ///< what stands between the quotes, without the escapes
  hash,     ///< the digits of H"..."
  integer,  ///< decimal digits
  symbol,   ///< one of ( ) [ ] ! = == * - ;
  end       ///< behind everything else
};

struct RequirementToken {
  RequirementTokenKind kind = RequirementTokenKind::end;
  std::string text;
};

/// Splits the text of a requirement, at most 64 KiB of UTF-8, into its tokens. White space is blank, tab and line feed;
/// comments are `/* */`, and `//` and `#` up to the end of the line. Any other control character, wherever it stands,
/// and any character that no supported term needs is refused. Throws Refusal.
[[nodiscard]] std::vector<RequirementToken> requirementTokens(std::string_view text);

}  // namespace brindlewick::codesign
