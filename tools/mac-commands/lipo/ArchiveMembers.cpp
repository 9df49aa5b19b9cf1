#include "ArchiveMembers.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "MachOHeader.h"
#include "Refusal.h"

namespace brindlewick::lipo {
namespace {

constexpr std::string_view magic = "!<arch>\n";
constexpr std::uint64_t headerByteCount = 60;
constexpr std::string_view headerEnd = "`\n";
// In front of a name that stands before the content, as BSD writes long names; then its length.
constexpr std::string_view longName = "#1/";
constexpr std::string_view symbolTable = "__.SYMDEF";

struct Member {
  std::string name;  ///< of a long name only as much as its beginning tells
  std::uint64_t offset = 0;
  std::uint64_t byteCount = 0;
  std::uint64_t end = 0;  ///< where the next header stands, on an even offset
};

std::string_view withoutBlanks(std::string_view field) { return field.substr(0, field.find_last_not_of(' ') + 1); }

std::uint64_t decimal(std::string_view field) {
  const std::string_view digits = withoutBlanks(field);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
    throw Refusal("malformed archive: a size is no number");
  return value;
}

Member memberAt(const InputFile& file, std::uint64_t offset) {
  const Bytes bytes = file.read(offset, headerByteCount);
  const std::string_view header = asText(bytes);
  if (!header.ends_with(headerEnd)) throw Refusal("malformed archive: a member has no header");
  Member member{std::string(withoutBlanks(header.substr(0, 16))), offset + headerByteCount,
                decimal(header.substr(48, 10)), 0};
  if (!file.contains(member.offset, member.byteCount)) throw Refusal("malformed archive: a member is cut short");
  member.end = member.offset + member.byteCount + member.byteCount % 2;
  if (!member.name.starts_with(longName)) return member;
  const std::uint64_t nameByteCount = decimal(std::string_view(member.name).substr(longName.size()));
  if (nameByteCount > member.byteCount) throw Refusal("malformed archive: a name is cut short");
  member.name = asText(file.read(member.offset, std::min<std::uint64_t>(nameByteCount, symbolTable.size())));
  member.offset += nameByteCount;
  member.byteCount -= nameByteCount;
  return member;
}

/// The tables of BSD archives, and those of System V, which begin with the slash that ends its names.
bool isTable(const Member& member) {
  return member.name.starts_with(symbolTable) || member.name == "/" || member.name == "//" || member.name == "/SYM64/";
}

}  // namespace

bool isArchive(const InputFile& file) {
  return file.contains(0, magic.size()) && asText(file.read(0, magic.size())) == magic;
}

Architecture archiveArchitecture(const InputFile& file) {
  std::optional<Architecture> common;
  for (std::uint64_t at = magic.size(); at < file.byteCount();) {
    const Member member = memberAt(file, at);
    at = member.end;
    if (isTable(member)) continue;
    const auto architecture = machOHeader(file, member.offset, member.byteCount);
    if (!architecture) throw Refusal("the archive has a member that is no object file");
    if (common && *common != *architecture) throw Refusal("the archive has members of different architectures");
    common = architecture;
  }
  if (!common) throw Refusal("the archive has no members with an architecture");
  return *common;
}

}  // namespace brindlewick::lipo
