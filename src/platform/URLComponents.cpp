#include "platform/URLComponents.h"

namespace brindlewick {
namespace {

/// Takes what stands before the first of some characters off the front of a text.
std::string takeUpTo(std::string_view& text, std::string_view ends) {
  const auto taken = text.substr(0, text.find_first_of(ends));
  text.remove_prefix(taken.size());
  return std::string(taken);
}

bool takeMark(std::string_view& text, std::string_view mark) {
  if (!text.starts_with(mark)) return false;
  text.remove_prefix(mark.size());
  return true;
}

/// Ends a path at the slash before its last segment.
void removeLastSegment(std::string& path) {
  const auto slash = path.rfind('/');
  path.erase(slash == std::string::npos ? 0 : slash);
}

/// RFC 3986, section 5.2.4: its steps A to E in their order.
std::string withoutDotSegments(std::string_view rest) {
  std::string kept;
  while (!rest.empty()) {
    if (takeMark(rest, "../") || takeMark(rest, "./")) continue;
    if (rest.starts_with("/./")) {
      rest.remove_prefix(2);
    } else if (rest == "/.") {
      rest = "/";
    } else if (rest.starts_with("/../")) {
      rest.remove_prefix(3);
      removeLastSegment(kept);
    } else if (rest == "/..") {
      rest = "/";
      removeLastSegment(kept);
    } else if (rest == "." || rest == "..") {
      rest = {};
    } else {
      const auto segment = rest.substr(0, rest.find('/', 1));
      kept += segment;
      rest.remove_prefix(segment.size());
    }
  }
  return kept;
}

/// Section 5.2.3.
std::string merge(const URLComponents& base, const std::string& path) {
  if (base.authority && base.path.empty()) return "/" + path;
  return base.path.substr(0, base.path.rfind('/') + 1) + path;
}

}  // namespace

URLComponents URLComponents::of(std::string_view text) {
  URLComponents parts;
  const auto mark = text.find_first_of(":/?#");
  if (mark != std::string_view::npos && mark > 0 && text[mark] == ':') {
    parts.scheme = text.substr(0, mark);
    text.remove_prefix(mark + 1);
  }
  if (takeMark(text, "//")) parts.authority = takeUpTo(text, "/?#");
  parts.path = takeUpTo(text, "?#");
  if (takeMark(text, "?")) parts.query = takeUpTo(text, "#");
  if (takeMark(text, "#")) parts.fragment = text;
  return parts;
}

std::string URLComponents::composed() const {
  std::string text;
  if (scheme) text += *scheme + ":";
  if (authority) text += "//" + *authority;
  text += path;
  if (query) text += "?" + *query;
  if (fragment) text += "#" + *fragment;
  return text;
}

URLComponents URLComponents::resolve(const URLComponents& reference) const {
  URLComponents target = reference;
  if (!reference.scheme) {
    target.scheme = scheme;
    if (!reference.authority) {
      target.authority = authority;
      if (reference.path.empty()) {
        target.path = path;
        if (!reference.query) target.query = query;
        return target;
      }
      if (!reference.path.starts_with('/')) target.path = merge(*this, reference.path);
    }
  }
  target.path = withoutDotSegments(target.path);
  return target;
}

URLAuthority URLAuthority::of(std::string_view text) {
  URLAuthority parts;
  if (const auto at = text.find('@'); at != std::string_view::npos) {
    parts.userinfo = text.substr(0, at);
    text.remove_prefix(at + 1);
  }
  // The colons of an address literal stand inside its brackets.
  const auto colon = text.find(':', text.starts_with('[') ? text.find(']') : 0);
  parts.host = text.substr(0, colon);
  if (colon != std::string_view::npos) parts.port = text.substr(colon + 1);
  return parts;
}

}  // namespace brindlewick
