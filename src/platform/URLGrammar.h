#pragma once

#include "platform/URLComponents.h"

/// What the parts of a URI reference may consist of (RFC 3986, appendix A). A percent sign needs two hexadecimal digits
/// behind it everywhere.
namespace brindlewick::URLGrammar {

/// Whether all components are what the grammar allows in a reference of this form.
[[nodiscard]] bool allows(const URLComponents& parts);

/// `text` is what stands between the brackets of an address literal: eight groups of 16 bits, the last two of which may
/// be written as an IPv4 address, or fewer and one "::", which stands for one group or more. No zone (RFC 6874).
[[nodiscard]] bool isIPv6Address(std::string_view text);

}  // namespace brindlewick::URLGrammar
