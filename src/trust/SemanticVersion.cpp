#include "trust/SemanticVersion.h"

#include <algorithm>

#include "platform/AsciiText.h"

namespace brindlewick {
namespace {

enum class LeadingZeros { allowed, forbidden };

std::optional<std::int64_t> parseCoreNumber(std::string_view piece) {
  if (piece.empty() || !areAsciiDigits(piece)) return std::nullopt;
  if (piece.size() > 1 && piece.starts_with('0')) return std::nullopt;
  return parseDecimal<std::int64_t>(piece);
}

bool isIdentifier(std::string_view piece, LeadingZeros zeros) {
  if (piece.empty()) return false;
  if (!std::all_of(piece.begin(), piece.end(), [](char c) { return isAsciiLetter(c) || isAsciiDigit(c) || c == '-'; }))
    return false;
  const bool hasLeadingZero = piece.size() > 1 && piece.starts_with('0') && areAsciiDigits(piece);
  return zeros == LeadingZeros::allowed || !hasLeadingZero;
}

bool isIdentifierList(std::string_view list, LeadingZeros zeros) {
  const auto pieces = split(list, '.');
  return std::all_of(pieces.begin(), pieces.end(), [zeros](auto piece) { return isIdentifier(piece, zeros); });
}

SemanticVersion::Identifier toIdentifier(std::string_view piece) {
  if (areAsciiDigits(piece))
    if (const auto value = parseDecimal<std::int64_t>(piece)) return *value;
  return std::string(piece);
}

}  // namespace

std::optional<SemanticVersion> SemanticVersion::parse(std::string_view text) {
  const auto parts = split(text, '+');
  if (parts.size() > 2 || parts[0].empty()) return std::nullopt;
  if (parts.size() == 2 && !isIdentifierList(parts[1], LeadingZeros::allowed)) return std::nullopt;

  const auto release = parts[0];
  const auto hyphen = release.find('-');
  const auto core = split(release.substr(0, hyphen), '.');
  if (core.size() != 3) return std::nullopt;
  const auto major = parseCoreNumber(core[0]);
  const auto minor = parseCoreNumber(core[1]);
  const auto patch = parseCoreNumber(core[2]);
  if (!major || !minor || !patch) return std::nullopt;

  SemanticVersion version{*major, *minor, *patch, {}};
  if (hyphen != std::string_view::npos) {
    const auto prerelease = release.substr(hyphen + 1);
    if (!isIdentifierList(prerelease, LeadingZeros::forbidden)) return std::nullopt;
    for (const auto piece : split(prerelease, '.')) version.prerelease.push_back(toIdentifier(piece));
  }
  return version;
}

std::strong_ordering SemanticVersion::operator<=>(const SemanticVersion& other) const noexcept {
  if (const auto order = major <=> other.major; order != 0) return order;
  if (const auto order = minor <=> other.minor; order != 0) return order;
  if (const auto order = patch <=> other.patch; order != 0) return order;
  // A release comes after all of its pre-releases, so the empty list is the greatest, not the least.
  if (prerelease.empty() || other.prerelease.empty()) return prerelease.empty() <=> other.prerelease.empty();
  return prerelease <=> other.prerelease;
}

}  // namespace brindlewick
