#include "support/codesign/PropertyListText.h"

#include <openssl/evp.h>
#include <plist/plist.h>

#include <stdexcept>

namespace brindlewick::testing::plist {
namespace {

std::string escaped(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '&')
      result += "&amp;";
    else if (character == '<')
      result += "&lt;";
    else if (character == '>')
      result += "&gt;";
    else
      result += character;
  }
  return result;
}

}  // namespace

std::string string(std::string_view text) { return "<string>" + escaped(text) + "</string>"; }

std::string data(ByteView bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return "<data>" + text + "</data>";
}

std::string array(std::string_view elements) { return "<array>" + std::string(elements) + "</array>"; }

std::string dictionary(const std::vector<std::pair<std::string, std::string>>& entries) {
  std::string text = "<dict>\n";
  for (const auto& [key, element] : entries) text += "<key>" + escaped(key) + "</key>" + element + "\n";
  return text + "</dict>";
}

std::string document(std::string_view element) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         std::string(element) + "\n</plist>\n";
}

Bytes binary(std::string_view document) {
  plist_t list = nullptr;
  plist_from_xml(document.data(), static_cast<std::uint32_t>(document.size()), &list);
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(list, &bytes, &length);
  plist_free(list);
  if (bytes == nullptr) throw std::runtime_error("the test property list does not parse");
  Bytes copy(bytes, bytes + length);
  plist_to_bin_free(bytes);
  return copy;
}

}  // namespace brindlewick::testing::plist
