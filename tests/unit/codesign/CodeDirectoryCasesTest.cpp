#include "support/codesign/ByteWriter.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr std::size_t lengthField = 4, hashOffsetField = 16, identifierField = 20, hashTypeField = 37;

std::function<void(World&)> directories(void (*change)(DirectoryShape&)) {
  return [change](World& world) { world.eachDirectory(change); };
}

std::function<void(World&)> version(std::uint32_t version) {
  return [version](World& world) { world.eachDirectory([=](DirectoryShape& d) { d.version = version; }); };
}

std::function<void(World&)> pageShift(std::uint8_t shift) {
  return [shift](World& world) { world.eachDirectory([=](DirectoryShape& d) { d.pageShift = shift; }); };
}

std::function<void(World&)> blobs(void (*change)(SlotBlobs&)) {
  return [change](World& world) { world.eachSlice([=](SliceShape& s) { s.signature.editBlobs = change; }); };
}

std::function<void(World&)> superBlobField(std::size_t offset, std::uint32_t value) {
  return [=](World& world) {
    world.eachSlice([=](SliceShape& s) { s.signature.spoil = [=](Bytes& bytes) { setBig32(bytes, offset, value); }; });
  };
}

void useTwoDirectories(World& world) { world.useHashTypes({1, 2}); }

void listNoDirectories(MessageShape& message) { message.listsCodeHashes = message.listsDigests = false; }

/// The attributes speak of the base directory only, although an alternate stands beside it.
void addAlternateAfterSigning(World& world) {
  world.useHashTypes({2, 1});
  world.eachMessage([](MessageShape& message) {
    message.editCodeHashes = [](std::vector<Bytes>& hashes) { hashes.erase(hashes.begin()); };
    message.editDigests = [](std::vector<Bytes>& digests) { digests.erase(digests.begin()); };
  });
}

void leaveIdentifierOpen(DirectoryShape& directory) {
  directory.spoil = [](Bytes& bytes) {
    setBig32(bytes, identifierField, bytes.size());
    append(bytes, asBytes("com.brindlewick.app"));
    setBig32(bytes, lengthField, bytes.size());
  };
}

void kind(World& world, SignatureKind kind) {
  world.eachSlice([=](SliceShape& slice) { slice.signature.kind = kind; });
}

const std::vector<SigningCase> cases = {
    {1, "aUniversalBundleWithATimestamp", accepted, nothing, flipsCode},
    {2, "twoDirectoriesWithBothAttributes", accepted, useTwoDirectories,
     [](World& w) { w.flipBlob(0, alternateDirectorySlot, 60); }},
    {2, "hashesOfSHA384", accepted, [](World& w) { w.useHashTypes({4}); }, flipsCode},
    {2, "hashesOfSHA384AndAResource", accepted, [](World& w) { w.useHashTypes({4}); },
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {2, "hashesOfSHA256CutShort", accepted, [](World& w) { w.useHashTypes({3}); }, flipsCode},
    {2, "hashesOfSHA256CutShortAndAResource", accepted, [](World& w) { w.useHashTypes({3}); },
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {2, "SHA256AndSHA384", accepted,
     [](World& w) {
       w.useHashTypes({2, 4});
     },
     [](World& w) { w.flipBlob(1, alternateDirectorySlot, 60); }},
    {3, "digestsNotInDEROrder", accepted,
     [](World& w) {
       useTwoDirectories(w);
       w.eachMessage([](MessageShape& m) { m.digestsInDEROrder = false; });
     },
     [](World& w) { w.flipBlob(1, 0, 60); }},
    {4, "version20200", accepted, version(0x20200), flipsCode},
    {4, "version20300", accepted, version(0x20300), flipsCode},
    {4, "version20400", accepted, version(0x20400), flipsCode},
    {4, "version20500", accepted, version(0x20500), flipsCode},
    {4, "limitIn64Bits", accepted, directories([](DirectoryShape& d) { d.writesLimitIn64Bits = true; }), flipsCode},
    {5, "version20001HasNoTeam", invalid, version(0x20001)},
    {5, "version20100HasNoTeam", invalid, version(0x20100)},
    {5, "version30000IsUnknown", invalid, version(0x30000)},
    {6, "pagesOf4KiB", accepted, pageShift(12), flipsCode},
    {6, "pagesOf16KiB", accepted, pageShift(14), flipsCode},
    {6, "pagesOf8KiB", invalid, pageShift(13)},
    {7, "oneDirectoryWithoutAttributes", accepted, [](World& w) { w.eachMessage(listNoDirectories); }, flipsCode},
    {7, "twoDirectoriesWithoutAttributes", invalid,
     [](World& w) {
       useTwoDirectories(w);
       w.eachMessage(listNoDirectories);
     }},
    {8, "aWrongCodeHashListed", invalid,
     [](World& w) {
       w.eachMessage([](MessageShape& m) { m.editCodeHashes = [](auto& hashes) { hashes.at(0).at(3) ^= 1; }; });
     }},
    {8, "codeHashesInTheWrongOrder", invalid,
     [](World& w) {
       useTwoDirectories(w);
       w.eachMessage(
           [](MessageShape& m) { m.editCodeHashes = [](auto& hashes) { std::swap(hashes.at(0), hashes.at(1)); }; });
     }},
    {8, "oneDigestTooMany", invalid,
     [](World& w) {
       w.eachMessage(
           [](MessageShape& m) { m.editDigests = [](auto& digests) { digests.push_back(Bytes(digests.at(0))); }; });
     }},
    {9, "anAlternateAddedAfterSigning", invalid, addAlternateAfterSigning},
    {18, "superBlobLongerThanItsRoom", invalid, superBlobField(4, 0x8001)},
    {18, "indexBeyondTheSuperBlob", invalid, superBlobField(8, 0x2000)},
    {18, "blobInsideTheIndex", invalid, superBlobField(16, 12)},
    {18, "oneSlotTwice", invalid, blobs([](SlotBlobs& b) { b.push_back(SlotBlobs::value_type(b.at(1))); })},
    {18, "anUnknownSlot", accepted, blobs([](SlotBlobs& b) { b.emplace_back(0x7777, blob(0xfade7777, Bytes(9, 1))); }),
     [](World& w) { w.flipBlob(1, 0, 60); }},
    {19, "hashSlotsOutsideTheDirectory", invalid, directories([](DirectoryShape& d) {
       d.spoil = [](Bytes& bytes) { setBig32(bytes, hashOffsetField, bytes.size() - 4); };
     })},
    {19, "identifierWithoutAnEnd", invalid, directories(leaveIdentifierOpen)},
    {19, "hashSizeOfAnotherType", invalid,
     directories([](DirectoryShape& d) { d.spoil = [](Bytes& bytes) { bytes.at(hashTypeField) = 1; }; })},
    {19, "scatterVectors", invalid, directories([](DirectoryShape& d) { d.scatterOffset = 0x40; })},
    {20, "twoDirectoriesOfOneHashType", invalid,
     [](World& w) {
       w.useHashTypes({2, 2});
     }},
    {20, "directoriesOfDifferentIdentifiers", invalid,
     [](World& w) {
       useTwoDirectories(w);
       w.eachSlice([](SliceShape& s) { s.signature.directories.at(0).identifier = "com.brindlewick.other"; });
     }},
    {21, "adHoc", withoutTeam, [](World& w) { kind(w, SignatureKind::adHoc); }},
    {21, "linkerSigned", invalid, [](World& w) { kind(w, SignatureKind::linker); }},
    {21, "oneSliceAdHoc", invalid, [](World& w) { w.slice(1).signature.kind = SignatureKind::adHoc; }},
};

class CodeDirectoryCases : public SigningCaseTest {};
TEST_P(CodeDirectoryCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CodeDirectoryCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
