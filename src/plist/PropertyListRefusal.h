#pragma once

#include <string_view>

#include "platform/Failure.h"

namespace brindlewick {

/// Why content is no property list here. Core Foundation refuses the first kind too; the others are everything that it
/// reads and this program knowingly does not, because no genuine list needs it and a rule costs less than the risk.
enum class PropertyListRefusal {
  malformed,
  noDictionary,
  otherEncoding,
  textWithNUL,
  illFormedText,
  foreignNumber,
  integerBeyond64Bits,
  wideNumber,
  repeatedKey,
  keyOfOtherKind,
  kindOfOtherFormats,
  listInsideList,
  tooDeep,
  tooLarge,
};

constexpr std::string_view describe(PropertyListRefusal refusal) noexcept {
  using enum PropertyListRefusal;
  switch (refusal) {
    case malformed:
      return "the content is no property list, XML or binary";
    case noDictionary:
      return "the top of a property list is a dictionary";
    case otherEncoding:
      return "an XML property list is UTF-8, US-ASCII or ISO 8859-1";  // UTF-16 and dozens of others
    case textWithNUL:
      return "a text or a key has no NUL";  // where C would end it
    case illFormedText:
      return "a text is well-formed Unicode";  // stray bytes become U+FFFD, lone surrogates stay
    case foreignNumber:
      return "a number is written in ASCII";  // blanks of all scripts in front of one
    case integerBeyond64Bits:
      return "an integer has at most 64 bits, with its sign";  // the others lose their upper half
    case wideNumber:
      return "a count, a reference, an offset and a UID have at most eight bytes";
    case repeatedKey:
      return "a key stands once in a dictionary";  // the last one counts in XML, the first one in binary lists
    case keyOfOtherKind:
      return "a key is a text";
    case kindOfOtherFormats:
      return "a property list holds neither sets nor null";  // XML has no form for them
    case listInsideList:
      return "a <plist> stands at the top only";  // nested without a limit
    case tooDeep:
      return "at most 512 dictionaries and arrays lie inside each other";  // an object that is used twice counts twice
    case tooLarge:
      return "a property list has at most 64 MiB, and as much text and data, in at most a million values";
  }
  return {};
}

}  // namespace brindlewick
