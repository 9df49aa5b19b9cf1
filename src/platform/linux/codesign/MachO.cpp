#include "platform/linux/codesign/MachO.h"

#include <algorithm>

#include "platform/linux/codesign/ByteFields.h"
#include "platform/linux/codesign/UniversalTable.h"

namespace brindlewick::codesign {
namespace {

// loader.h
constexpr std::uint32_t magic32 = 0xfeedface;
constexpr std::uint32_t magic64 = 0xfeedfacf;
constexpr std::uint32_t segmentCommand = 0x1;
constexpr std::uint32_t symbolTableCommand = 0x2;
constexpr std::uint32_t segment64Command = 0x19;
constexpr std::uint32_t codeSignatureCommand = 0x1d;
constexpr std::uint64_t smallHeaderByteCount = 28;
constexpr std::uint64_t headerByteCount64 = 32;

/// Real executables need tens of kilobytes; the commands are kept in memory.
constexpr std::uint64_t maximumCommandsByteCount = 1 << 20;

/// A name in a field of 16 bytes, ended by NUL unless it fills the field.
std::string_view fixedName(ByteView bytes, std::uint64_t offset) {
  const std::string_view field = asText(range(bytes, offset, 16));
  return field.substr(0, field.find('\0'));
}

/// How the two widths of segment commands differ: offsets in bytes.
struct SegmentForm {
  bool is64Bit;
  std::uint64_t fileOffset, fileSize, sectionCount, sections, sectionByteCount, sectionSize, sectionOffset;

  [[nodiscard]] std::uint64_t wide(ByteView bytes, std::uint64_t at) const {
    return is64Bit ? little64(bytes, at) : little32(bytes, at);
  }
};
constexpr SegmentForm segmentForm32{false, 32, 36, 48, 56, 68, 36, 40};
constexpr SegmentForm segmentForm64{true, 40, 48, 64, 72, 80, 40, 48};

/// Reads the load commands of one slice, in their order.
class CommandReader {
 public:
  explicit CommandReader(MachOSlice& slice) : slice_(slice) {}

  void take(std::uint32_t command, ByteView bytes) {
    switch (command) {
      case segmentCommand:
        return takeSegment(bytes, segmentForm32);
      case segment64Command:
        return takeSegment(bytes, segmentForm64);
      case symbolTableCommand:
        return takeLinkEdit(std::uint64_t{little32(bytes, 16)} + little32(bytes, 20));
      case codeSignatureCommand:
        return takeSignature(bytes);
      default:
        return;
    }
  }

  void finish() const {
    require(isSigned_, "every architecture is signed");
    require(hasLinkEdit_, "a slice has link-edit data");
    const ByteRange& signature = slice_.signature;
    require(signature.offset >= slice_.head.size(), "the signature lies behind the load commands");
    require(signature.offset <= slice_.range.length && signature.length <= slice_.range.length - signature.offset,
            "the signature lies inside its slice");
  }

 private:
  void takeSegment(ByteView bytes, const SegmentForm& form) {
    const auto name = fixedName(bytes, 8);
    if (name == "__LINKEDIT") {
      const std::uint64_t offset = form.wide(bytes, form.fileOffset);
      require(offset <= slice_.range.length, "link-edit data begin inside their slice");
      takeLinkEdit(offset + form.wide(bytes, form.fileSize));
    } else if (name == "__TEXT") {
      takeSections(bytes, form);
    }
  }

  /// Whichever of the segment and the symbol table comes first says where the slice ends.
  void takeLinkEdit(std::uint64_t end) {
    if (!hasLinkEdit_) require(end == slice_.range.length, "a slice ends with its link-edit data");
    hasLinkEdit_ = true;
  }

  void takeSections(ByteView bytes, const SegmentForm& form) {
    require(bytes.size() >= form.sections, "a segment command holds its fields");
    const std::uint64_t count = little32(bytes, form.sectionCount);
    require(count <= (bytes.size() - form.sections) / form.sectionByteCount, "sections lie inside their command");
    for (std::uint64_t i = 0; i < count; ++i) {
      const ByteView section = range(bytes, form.sections + i * form.sectionByteCount, form.sectionByteCount);
      if (fixedName(section, 0) != "__info_plist" || fixedName(section, 16) != "__TEXT") continue;
      require(!slice_.informationSection, "a slice has one section of information");
      slice_.informationSection =
          ByteRange{little32(section, form.sectionOffset), form.wide(section, form.sectionSize)};
    }
  }

  void takeSignature(ByteView bytes) {
    require(!isSigned_, "a slice has one signature");
    isSigned_ = true;
    slice_.signature = {little32(bytes, 8), little32(bytes, 12)};
  }

  MachOSlice& slice_;
  bool isSigned_ = false;
  bool hasLinkEdit_ = false;
};

void readCommands(MachOSlice& slice, std::uint64_t headerByteCount, std::uint32_t count) {
  CommandReader reader(slice);
  ByteView commands = rest(slice.head, headerByteCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t byteCount = little32(commands, 4);
    require(byteCount >= 8 && byteCount % 4 == 0, "a load command has a size");
    reader.take(little32(commands, 0), range(commands, 0, byteCount));
    commands = commands.subspan(byteCount);
  }
  reader.finish();
}

}  // namespace

MachOSlice readSlice(ByteSource& file, ByteRange sliceRange) {
  require(sliceRange.length >= smallHeaderByteCount, "a slice holds a Mach-O header");
  MachOSlice slice;
  slice.range = sliceRange;
  slice.head = file.read(sliceRange.offset, smallHeaderByteCount);
  const std::uint32_t magic = little32(slice.head, 0);
  require(magic == magic64 || magic == magic32, "code is a Mach-O file of a little-endian processor");
  slice.architecture = architectureOf(little32(slice.head, 4), little32(slice.head, 8));
  slice.fileType = little32(slice.head, 12);
  const std::uint32_t commandCount = little32(slice.head, 16);
  const std::uint64_t commandsByteCount = little32(slice.head, 20);
  const std::uint64_t headerByteCount = magic == magic64 ? headerByteCount64 : smallHeaderByteCount;
  require(commandsByteCount <= maximumCommandsByteCount, "load commands have at most 1 MiB");
  require(commandsByteCount + headerByteCount <= sliceRange.length, "load commands lie inside their slice");
  const Bytes more =
      file.read(sliceRange.offset + smallHeaderByteCount, headerByteCount + commandsByteCount - smallHeaderByteCount);
  slice.head.insert(slice.head.end(), more.begin(), more.end());
  readCommands(slice, headerByteCount, commandCount);
  return slice;
}

void forEachSlice(ByteSource& file, const std::function<void(const MachOSlice&)>& judge) {
  const auto table = readUniversalTable(file);
  if (!table) return judge(readSlice(file, {0, file.size()}));
  std::optional<std::uint32_t> fileType;
  for (const UniversalEntry& entry : *table) {
    const MachOSlice slice = readSlice(file, entry.range);
    require(slice.architecture == entry.architecture, "a slice is for the processor of its table entry");
    require(slice.fileType == fileType.value_or(slice.fileType), "all slices are of one file type");
    fileType = slice.fileType;
    judge(slice);
  }
}

}  // namespace brindlewick::codesign
