#include "support/codesign/ByteWriter.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t fatCountField = 4, firstEntry = 8, entryByteCount = 20, secondEntry = firstEntry + entryByteCount;
constexpr std::size_t commandCountField = 16, commandByteCountField = 20;

/// Changes the finished executable.
std::function<void(World&)> file(void (*change)(Bytes&)) {
  return [change](World& world) { world.bundle.code.spoil = change; };
}

/// Changes the second slice before it is signed, so that only the change can be to blame.
std::function<void(World&)> slice(void (*change)(Bytes&)) {
  return [change](World& world) { world.slice(1).beforeSigning = change; };
}

void use64BitTable(Bytes& bytes) {
  ByteWriter table;
  table.big32(0xcafebabf).big32(2);
  for (std::size_t i = 0; i < 2; ++i) {
    const std::size_t entry = firstEntry + i * entryByteCount;
    table.big32(big32At(bytes, entry)).big32(big32At(bytes, entry + 4)).big64(big32At(bytes, entry + 8));
    table.big64(big32At(bytes, entry + 12)).big32(14).big32(0);
  }
  std::copy(table.bytes().begin(), table.bytes().end(), bytes.begin());
}

void hideArm64(Bytes& bytes) {
  std::copy_n(bytes.begin() + secondEntry, entryByteCount, bytes.begin() + secondEntry + entryByteCount);
}

void shortenLinkEdit(Bytes& bytes) {
  const std::size_t command = commandOffset(bytes, segment64Command, 1);
  setLittle64(bytes, command + 48, little32At(bytes, command + 48) - 16);
}

void addSignatureCommand(Bytes& bytes) {
  const std::size_t command = commandOffset(bytes, codeSignatureCommand);
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(command), 16,
              bytes.begin() + static_cast<std::ptrdiff_t>(command + 16));
  setLittle32(bytes, commandCountField, little32At(bytes, commandCountField) + 1);
  setLittle32(bytes, commandByteCountField, little32At(bytes, commandByteCountField) + 16);
}

const std::vector<SigningCase> cases = {
    {10, "codeOfTheFirstSliceChanged", invalid, [](World& w) { w.flipCode(0); }},
    {10, "codeOfTheSecondSliceChanged", invalid, [](World& w) { w.flipCode(1); }},
    {10, "lastShortPageChanged", invalid, [](World& w) { w.flipCode(1, 0x6F0F); }},
    {11, "anythingBehindTheSuperBlob", accepted, [](World& w) { w.flipCode(1, 0x6F10 + 0x7FFF); },
     [](World& w) { w.flipCode(1, 0x6F10 - 1); }},
    {12, "bytesBehindTheLastSlice", invalid, file([](Bytes& b) { b.push_back(0); })},
    {12, "oneByteShort", invalid, file([](Bytes& b) { b.pop_back(); })},
    {12, "aByteBetweenSlices", invalid, file([](Bytes& b) { b.at(sliceOffset(b, 1) - 1) = 1; })},
    {12, "aByteBetweenTableAndSlice", invalid, file([](Bytes& b) { b.at(sliceOffset(b, 0) - 1) = 1; })},
    {13, "linkEditEndsBeforeTheSlice", invalid, slice(shortenLinkEdit)},
    {13, "codeLimitBelowTheSignature", invalid,
     [](World& w) { w.eachDirectory([](DirectoryShape& d) { d.codeLimit = 0x6F00; }); }},
    {14, "noSlice", invalid, file([](Bytes& b) { setBig32(b, fatCountField, 0); })},
    {14, "101Slices", invalid, file([](Bytes& b) { setBig32(b, fatCountField, 101); })},
    {14, "tableBeyondTheFile", invalid, file([](Bytes& b) { b.resize(40); })},
    {14, "sliceBeyondTheFile", invalid,
     file([](Bytes& b) { setBig32(b, secondEntry + 8, (b.size() + 0x3FFF) & ~0x3FFFULL); })},
    {14, "sliceThatWraps", invalid, file([](Bytes& b) { setBig32(b, secondEntry + 12, 0xFFFFFFFF); })},
    {15, "slicesOverlap", invalid, file([](Bytes& b) { setBig32(b, firstEntry + 12, sliceByteCount(b, 0) + 0x4000); })},
    {15, "slicesAtOnePlace", invalid, file([](Bytes& b) { setBig32(b, secondEntry + 8, sliceOffset(b, 0)); })},
    {15, "oneArchitectureTwice", invalid,
     [](World& w) {
       w.slice(0).cpuType = arm64;
       w.slice(0).cpuSubtype = 0;
     }},
    {15, "aHiddenArm64Entry", invalid, file(hideArm64)},
    {16, "tableOf64Bits", invalid, file(use64BitTable)},
    {16, "entryOfAnotherCPU", invalid, file([](Bytes& b) { setBig32(b, firstEntry, 7); })},
    {16, "slicesOfDifferentTypes", invalid, [](World& w) { w.slice(1).fileType = dynamicLibraryFile; }},
    {17, "commandOfSizeZero", invalid,
     slice([](Bytes& b) { setLittle32(b, commandOffset(b, segment64Command, 1) + 4, 0); })},
    {17, "commandsBeyondTheirRoom", invalid,
     slice([](Bytes& b) { setLittle32(b, commandCountField, little32At(b, commandCountField) + 1); })},
    {17, "twoSignatures", invalid, slice(addSignatureCommand)},
    {17, "unsignedSlice", invalid, [](World& w) { w.slice(1).signature.kind = SignatureKind::none; }},
    {17, "unsignedFile", invalid,
     [](World& w) { w.eachSlice([](SliceShape& s) { s.signature.kind = SignatureKind::none; }); }},
    {17, "aThinFile", accepted, [](World& w) { w.makeThin(); }, flipsCode},
};

class MachOCases : public SigningCaseTest {};
TEST_P(MachOCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, MachOCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
