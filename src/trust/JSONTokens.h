#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace brindlewick {

/// Reads the tokens of a JSON text (RFC 8259) one after the other. A number is judged by its grammar alone and never
/// converted, so none is too large.
class JSONTokens {
 public:
  enum class Kind : std::uint8_t {
    beginObject,
    endObject,
    beginArray,
    endArray,
    colon,
    comma,
    string,
    number,
    /// true, false or null.
    word,
    /// Nothing is left but white space.
    end,
    /// What stands here is no token: the text is no JSON, and reading it ends.
    none,
  };

  /// `text` must be UTF-8 and outlive its tokens.
  explicit JSONTokens(std::string_view text) : rest_(text) {}

  /// Reads the next token.
  [[nodiscard]] Kind next();

  /// After a string: what it stands for, its escapes decoded. May be moved from.
  [[nodiscard]] std::string& string() noexcept { return string_; }
  /// After a number: its digits as they are written.
  [[nodiscard]] std::string_view number() const noexcept { return number_; }

 private:
  Kind readString();
  bool readEscape();
  bool readEscapedCharacter();
  std::optional<unsigned> readUTF16Unit();
  Kind readNumber();
  bool readDigits();
  bool readIf(std::string_view expected);

  std::string_view rest_;
  std::string string_;
  std::string_view number_;
};

}  // namespace brindlewick
