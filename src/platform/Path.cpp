#include "platform/Path.h"

#include <vector>

namespace brindlewick {

Path::Path(std::string_view text) : text_(text) {
  while (text_.size() > 1 && text_.back() == '/') text_.pop_back();
}

Path Path::operator/(std::string_view component) const {
  std::string joined = text_;
  if (joined != "/") joined += '/';
  return Path(joined += component);
}

Path Path::parent() const {
  const auto slash = text_.rfind('/');
  if (slash == std::string::npos) return Path();
  return Path(slash == 0 ? std::string_view("/") : std::string_view(text_).substr(0, slash));
}

bool Path::isDirectlyIn(const Path& folder) const { return *this != parent() && parent() == folder; }

bool Path::isBeside(const Path& other) const {
  const Path folder = parent();
  return isDirectlyIn(folder) && other.isDirectlyIn(folder);
}

std::string_view Path::lastComponent() const noexcept {
  const auto slash = text_.rfind('/');
  if (slash == std::string::npos || text_.size() == 1) return text_;
  return std::string_view(text_).substr(slash + 1);
}

std::string_view Path::extension() const noexcept {
  const auto name = lastComponent();
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  return name.substr(dot + 1);
}

Path Path::standardized() const {
  const bool absolute = text_.starts_with('/');
  std::vector<std::string_view> kept;
  std::string_view rest = text_;
  while (!rest.empty()) {
    const auto component = rest.substr(0, rest.find('/'));
    rest.remove_prefix(component.size() == rest.size() ? rest.size() : component.size() + 1);
    if (component.empty() || component == ".") continue;
    const bool canClimb = !kept.empty() && kept.back() != "..";
    if (component == ".." && canClimb) {
      kept.pop_back();
    } else if (component != ".." || !absolute) {
      kept.push_back(component);
    }
  }
  std::string text;
  for (const auto component : kept) (text += absolute || !text.empty() ? "/" : "") += component;
  return Path(text.empty() && absolute ? "/" : text);
}

}  // namespace brindlewick
