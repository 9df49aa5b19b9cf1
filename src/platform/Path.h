#pragma once

#include <compare>
#include <string>
#include <string_view>

namespace brindlewick {

/// A file location as a value: joined, taken apart and compared as text, never looked up. Only `FileSystem` touches
/// the disk. Trailing slashes are dropped on construction, so a directory may be written with or without one.
class Path {
 public:
  Path() = default;
  explicit Path(std::string_view text);

  /// The text, without trailing slashes (the root stays "/").
  [[nodiscard]] const std::string& string() const noexcept { return text_; }
  [[nodiscard]] const char* c_str() const noexcept { return text_.c_str(); }

  /// This path with one more component.
  [[nodiscard]] Path operator/(std::string_view component) const;

  /// The path without its last component; the root is its own parent.
  [[nodiscard]] Path parent() const;

  /// Whether this is a child of `folder`, in the text. The root lies in nothing, although it is its own parent.
  [[nodiscard]] bool isDirectlyIn(const Path& folder) const;
  /// Whether both lie directly in the same folder. Nothing lies beside the root.
  [[nodiscard]] bool isBeside(const Path& other) const;

  [[nodiscard]] std::string_view lastComponent() const noexcept;

  /// What follows the last dot of the last component; empty if there is no dot, or only a leading or a trailing one.
  [[nodiscard]] std::string_view extension() const noexcept;

  /// The path with "." and ".." components and doubled slashes resolved in the text alone: links are not looked at.
  /// ".." at the root stays at the root.
  [[nodiscard]] Path standardized() const;

  auto operator<=>(const Path&) const = default;

 private:
  std::string text_;
};

}  // namespace brindlewick
