#pragma once

#include <optional>
#include <string_view>

#include "platform/Bytes.h"

namespace brindlewick::ditto {

/// The extra fields of a record that matter here.
struct ExtraFields {
  /// The 64-bit sizes and offset (APPNOTE 4.5.3).
  std::optional<ByteView> zip64;

  /// Reads the fields of a record with this header name. Throws Refusal for a damaged list, for a field that gives
  /// the entry another name than its header has (Unicode path, APPNOTE 4.6.9), for fields that may turn an entry into
  /// a link or encrypt it, and for one of these given twice.
  [[nodiscard]] static ExtraFields read(ByteView bytes, std::string_view headerName);
};

}  // namespace brindlewick::ditto
