#include "ExtraFields.h"

#include "Fields.h"

namespace brindlewick::ditto {
namespace {

constexpr std::uint16_t zip64Field = 0x0001;
constexpr std::uint16_t unicodePathField = 0x7075;

/// PKWARE Unix (may name a link's target), ASi Unix (mode and target), libarchive's streaming attributes (mode), AES.
constexpr std::uint16_t refusedFields[] = {0x000d, 0x756e, 0x6c78, 0x9901};

void checkUnicodePath(Fields field, std::string_view headerName) {
  field.skip(5);  // its version and the checksum of the header's name
  if (field.text(field.remaining()) != headerName)
    throw Refusal("an entry has one name in its header and another in its Unicode path field");
}

}  // namespace

ExtraFields ExtraFields::read(ByteView bytes, std::string_view headerName) {
  ExtraFields found;
  bool hasUnicodePath = false;
  for (Fields fields(bytes); !fields.atEnd();) {
    const std::uint16_t identifier = fields.u16();
    const ByteView content = fields.bytes(fields.u16());
    for (const std::uint16_t refused : refusedFields)
      if (identifier == refused) throw Refusal("an entry has attributes that are not supported");
    if ((identifier == zip64Field && found.zip64) || (identifier == unicodePathField && hasUnicodePath))
      throw Refusal("an entry has the same extra field twice");
    if (identifier == zip64Field) found.zip64 = content;
    if (identifier != unicodePathField) continue;
    hasUnicodePath = true;
    checkUnicodePath(Fields(content), headerName);
  }
  return found;
}

}  // namespace brindlewick::ditto
