#pragma once

#include <random>
#include <string>
#include <string_view>

#include "support/ABNFGrammar.h"

namespace brindlewick::testing {

/// RFC 3986, appendix A.
inline constexpr std::string_view uriRules = R"abnf(
URI           = scheme ":" hier-part [ "?" query ] [ "#" fragment ]
hier-part     = "//" authority path-abempty
              / path-absolute
              / path-rootless
              / path-empty
URI-reference = URI / relative-ref
relative-ref  = relative-part [ "?" query ] [ "#" fragment ]
relative-part = "//" authority path-abempty
              / path-absolute
              / path-noscheme
              / path-empty
scheme        = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." )
authority     = [ userinfo "@" ] host [ ":" port ]
userinfo      = *( unreserved / pct-encoded / sub-delims / ":" )
host          = IP-literal / IPv4address / reg-name
port          = *DIGIT
IP-literal    = "[" ( IPv6address / IPvFuture  ) "]"
IPvFuture     = "v" 1*HEXDIG "." 1*( unreserved / sub-delims / ":" )
IPv6address   =                            6( h16 ":" ) ls32
              /                       "::" 5( h16 ":" ) ls32
              / [               h16 ] "::" 4( h16 ":" ) ls32
              / [ *1( h16 ":" ) h16 ] "::" 3( h16 ":" ) ls32
              / [ *2( h16 ":" ) h16 ] "::" 2( h16 ":" ) ls32
              / [ *3( h16 ":" ) h16 ] "::"    h16 ":"   ls32
              / [ *4( h16 ":" ) h16 ] "::"              ls32
              / [ *5( h16 ":" ) h16 ] "::"              h16
              / [ *6( h16 ":" ) h16 ] "::"
h16           = 1*4HEXDIG
ls32          = ( h16 ":" h16 ) / IPv4address
IPv4address   = dec-octet "." dec-octet "." dec-octet "." dec-octet
dec-octet     = DIGIT
              / %x31-39 DIGIT
              / "1" 2DIGIT
              / "2" %x30-34 DIGIT
              / "25" %x30-35
reg-name      = *( unreserved / pct-encoded / sub-delims )
path-abempty  = *( "/" segment )
path-absolute = "/" [ segment-nz *( "/" segment ) ]
path-noscheme = segment-nz-nc *( "/" segment )
path-rootless = segment-nz *( "/" segment )
path-empty    = 0pchar
segment       = *pchar
segment-nz    = 1*pchar
segment-nz-nc = 1*( unreserved / pct-encoded / sub-delims / "@" )
pchar         = unreserved / pct-encoded / sub-delims / ":" / "@"
query         = *( pchar / "/" / "?" )
fragment      = *( pchar / "/" / "?" )
pct-encoded   = "%" HEXDIG HEXDIG
unreserved    = ALPHA / DIGIT / "-" / "." / "_" / "~"
sub-delims    = "!" / "$" / "&" / "'" / "(" / ")" / "*" / "+" / "," / ";" / "="
)abnf";

inline const ABNFGrammar& uriGrammar() {
  static const ABNFGrammar grammar(uriRules);
  return grammar;
}

/// A text with some characters removed, repeated, replaced or put in: nearly valid, and often still valid.
[[nodiscard]] inline std::string nearly(std::string text, std::mt19937_64& random) {
  using namespace std::string_view_literals;
  static constexpr auto characters = "://?#[]@%..%2Fv1:09aG+~ \"<\\^`{|}\x7f\x80\xff\n\0"sv;
  const auto number = [&](std::size_t bound) { return static_cast<std::size_t>(random() % bound); };
  for (auto changes = 1 + number(3); changes > 0; --changes) {
    const auto at = number(text.size() + 1);
    const auto character = characters[number(characters.size())];
    switch (number(4)) {
      case 0:
        text.erase(at, 1);
        break;
      case 1:
        text.insert(at, 1, character);
        break;
      case 2:
        text.replace(at, 1, 1, character);
        break;
      default:
        text.insert(number(text.size() + 1), text.substr(at, 1 + number(4)));
    }
  }
  return text.substr(0, ABNFGrammar::maximumTextLength);
}

}  // namespace brindlewick::testing
