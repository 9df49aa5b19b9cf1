#include "platform/linux/codesign/MachO.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/MachOBuilder.h"
#include "unit/codesign/BrokenRule.h"

namespace brindlewick::codesign {
namespace {

using testing::ByteWriter;

enum class Width { narrow, wide };

constexpr std::uint32_t sliceByteCount = 0x1000, signatureOffset = 0xF00, signatureByteCount = 0x100;
constexpr std::uint32_t segment32Command = 0x1, symbolTableCommand = 0x2;

struct Section {
  std::string name = "__info_plist", segment = "__TEXT";
  std::uint32_t offset = 0x800, byteCount = 0x40;
};

/// A slice for either width of processors; nothing in it but its commands.
struct SliceShape {
  Width width = Width::wide;
  std::vector<Section> sections;
  std::uint32_t sectionCountExcess = 0;         ///< how many more the segment says it has
  std::uint32_t linkEditEnd = sliceByteCount;   ///< by the segment, which comes first
  std::uint32_t stringsEnd = sliceByteCount;    ///< by the symbol table
  std::uint32_t signatureEnd = sliceByteCount;  ///< of LC_CODE_SIGNATURE
};

class SliceWriter {
 public:
  explicit SliceWriter(const SliceShape& shape) : shape_(shape), isWide_(shape.width == Width::wide) {}

  Bytes write() {
    segment("__TEXT", 0, sliceByteCount / 2, shape_.sections);
    segment("__LINKEDIT", 0xE00, shape_.linkEditEnd - 0xE00, {});
    commands_.little32(symbolTableCommand).little32(24).zeros(8).little32(0xE00).little32(shape_.stringsEnd - 0xE00);
    commands_.little32(testing::codeSignatureCommand).little32(16).little32(signatureOffset);
    commands_.little32(shape_.signatureEnd - signatureOffset);
    ByteWriter out;
    out.little32(isWide_ ? 0xfeedfacf : 0xfeedface).little32(isWide_ ? testing::x86_64 : 7).little32(3);
    out.little32(testing::executableFile).little32(4).little32(commands_.size()).little32(0);
    if (isWide_) out.little32(0);
    out.raw(commands_.bytes());
    return out.zeros(sliceByteCount - out.size()).bytes();
  }

 private:
  /// An address, an offset or a size: of the processor's width.
  void number(std::uint64_t value) {
    if (isWide_)
      commands_.little64(value);
    else
      commands_.little32(value);
  }

  void segment(const std::string& name, std::uint64_t offset, std::uint64_t byteCount,
               const std::vector<Section>& sections) {
    const std::size_t sectionByteCount = isWide_ ? 80 : 68;
    commands_.little32(isWide_ ? testing::segment64Command : segment32Command);
    commands_.little32((isWide_ ? 72 : 56) + sections.size() * sectionByteCount).field(name, 16);
    for (const std::uint64_t value : {offset, byteCount, offset, byteCount}) number(value);
    const std::size_t excess = sections.empty() ? 0 : shape_.sectionCountExcess;
    commands_.little32(5).little32(5).little32(sections.size() + excess).little32(0);
    for (const Section& section : sections) {
      const std::size_t begin = commands_.size();
      commands_.field(section.name, 16).field(section.segment, 16);
      number(section.offset);
      number(section.byteCount);
      commands_.little32(section.offset);
      commands_.zeros(begin + sectionByteCount - commands_.size());
    }
  }

  const SliceShape& shape_;
  bool isWide_;
  ByteWriter commands_;
};

MachOSlice read(const SliceShape& shape) {
  const Bytes bytes = SliceWriter(shape).write();
  MemorySource source(bytes);
  return readSlice(source, {0, bytes.size()});
}

std::string brokenRule(const SliceShape& shape) {
  return testing::brokenRuleOf([&] { static_cast<void>(read(shape)); });
}

class MachOOfEachWidth : public ::testing::TestWithParam<Width> {
 protected:
  SliceShape shape{GetParam(), {Section{}}};
};
INSTANTIATE_TEST_SUITE_P(All, MachOOfEachWidth, ::testing::Values(Width::narrow, Width::wide),
                         [](const auto& info) { return info.param == Width::wide ? "of64Bits" : "of32Bits"; });

TEST_P(MachOOfEachWidth, isReadWithItsParts) {
  const MachOSlice slice = read(shape);
  EXPECT_EQ(slice.signature.offset, signatureOffset);
  EXPECT_EQ(slice.signature.length, signatureByteCount);
  ASSERT_TRUE(slice.informationSection.has_value());
  EXPECT_EQ(slice.informationSection->offset, 0x800U);
  EXPECT_EQ(slice.informationSection->length, 0x40U);
}

TEST_P(MachOOfEachWidth, findsInformationAmongOtherSections) {
  shape.sections = {{"__text"}, {"__info_plist", "__DATA"}, {"__info_plist", "__TEXT", 0x900, 0x20}};
  EXPECT_EQ(read(shape).informationSection.value_or(ByteRange{}).offset, 0x900U);
  shape.sections.pop_back();
  EXPECT_FALSE(read(shape).informationSection.has_value());
}

TEST_P(MachOOfEachWidth, hasOneSectionOfInformation) {
  shape.sections.push_back(Section{.offset = 0x900});
  EXPECT_EQ(brokenRule(shape), "a slice has one section of information");
}

TEST_P(MachOOfEachWidth, keepsItsSectionsInTheirCommand) {
  shape.sectionCountExcess = 1;
  EXPECT_EQ(brokenRule(shape), "sections lie inside their command");
  shape.sectionCountExcess = 0xFFFFFFF0;
  EXPECT_EQ(brokenRule(shape), "sections lie inside their command");
}

TEST_P(MachOOfEachWidth, endsWithItsLinkEditData) {
  constexpr const char* rule = "a slice ends with its link-edit data";
  shape.linkEditEnd = sliceByteCount - 1;
  EXPECT_EQ(brokenRule(shape), rule);
  shape.linkEditEnd = sliceByteCount + 1;
  EXPECT_EQ(brokenRule(shape), rule);
}

// The platform looks at the one that comes first.
TEST_P(MachOOfEachWidth, mayHaveASymbolTableThatEndsElsewhere) {
  shape.stringsEnd = sliceByteCount - 1;
  EXPECT_EQ(brokenRule(shape), "");
}

TEST_P(MachOOfEachWidth, holdsItsSignature) {
  shape.signatureEnd = sliceByteCount + 1;
  EXPECT_EQ(brokenRule(shape), "the signature lies inside its slice");
}

}  // namespace
}  // namespace brindlewick::codesign
