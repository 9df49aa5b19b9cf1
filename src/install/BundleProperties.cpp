#include "install/BundleProperties.h"

#include <cmath>

#include "install/UpdateInstallError.h"
#include "platform/AsciiText.h"
#include "platform/PlatformError.h"
#include "platform/ReadWhole.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;

constexpr std::size_t maximumByteCount = 1'048'576;

Bytes readList(FileSystem& files, const Path& file) {
  try {
    const auto item = files.open(file, FinalLink::refused);
    require(item->attributes().kind == FileKind::regular, invalidApplicationBundle);
    return unwrap(readWhole(*item, maximumByteCount), invalidApplicationBundle);
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    throw Failure(invalidApplicationBundle);
  }
}

std::optional<std::string> text(const PropertyListDictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  if (found == dictionary.end()) return std::nullopt;
  const auto* value = std::get_if<std::string>(&found->second);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

/// A real that is written without a fraction and without an exponent when it is turned into text. Beyond 53 bits not
/// every integer is a real.
std::optional<std::int64_t> wholeNumber(double real) {
  constexpr double limit = std::int64_t{1} << 53;
  if (!(real >= -limit && real <= limit) || std::trunc(real) != real) return std::nullopt;
  return static_cast<std::int64_t>(real);
}

/// A number, or a string that reads as one.
std::optional<std::int64_t> integer(const PropertyListDictionary& dictionary, std::string_view key) {
  if (const auto digits = text(dictionary, key)) return parseDecimal<std::int64_t>(*digits);
  const auto found = dictionary.find(key);
  if (found == dictionary.end()) return std::nullopt;
  if (const auto* real = std::get_if<double>(&found->second)) return wholeNumber(*real);
  const auto* value = std::get_if<std::int64_t>(&found->second);
  return value == nullptr ? std::nullopt : std::optional(*value);
}

}  // namespace

BundleProperties BundleProperties::read(FileSystem& files, PropertyListReader& propertyLists, const Path& bundle) {
  const auto dictionary =
      unwrap(propertyLists.dictionary(readList(files, bundle / "Contents/Info.plist")), invalidApplicationBundle);
  BundleProperties properties{
      .identifier = unwrap(text(dictionary, "CFBundleIdentifier"), invalidApplicationBundle),
      .shortVersion = unwrap(text(dictionary, "CFBundleShortVersionString"), invalidApplicationBundle),
      .version = unwrap(integer(dictionary, "CFBundleVersion"), invalidApplicationBundle),
      .executable = text(dictionary, "CFBundleExecutable").value_or("Brindlewick")};
  require(text(dictionary, "CFBundlePackageType") == "APPL", invalidApplicationBundle);
  return properties;
}

}  // namespace brindlewick
