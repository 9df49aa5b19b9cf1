#include "support/codesign/ByteWriter.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr std::uint32_t wrapperMagic = 0xfade0b01, entitlementsMagic = 0xfade7171, entitlementsDERMagic = 0xfade7172,
                        launchConstraintMagic = 0xfade8181;
constexpr std::size_t hashOffsetField = 16, hashSizeField = 36, blobHeaderByteCount = 8;

using Change = std::function<void(World&)>;

/// A further blob in every slice, hashed in its slot.
void addBlob(World& world, std::uint32_t slot, std::uint32_t magic) {
  const std::string text = "the content of slot " + std::to_string(slot);
  world.eachSlice([=](SliceShape& slice) { slice.signature.specialBlobs[slot] = blob(magic, asBytes(text)); });
}

Change adds(std::uint32_t slot, std::uint32_t magic) {
  return [=](World& world) { addBlob(world, slot, magic); };
}

void addEntitlements(World& world) {
  addBlob(world, 5, entitlementsMagic);
  addBlob(world, 7, entitlementsDERMagic);
}

Change both(const Change& first, const Change& second) {
  return [=](World& world) {
    first(world);
    second(world);
  };
}

/// A byte of the blob's content, in the second slice.
Change flips(std::uint32_t slot) {
  return [slot](World& world) { world.flipBlob(1, slot, blobHeaderByteCount + 1); };
}

void flipRequirements(World& world) { world.flipBlob(1, 2, 11); }

Change zeroes(int slot) {
  return [slot](World& world) { world.eachDirectory([slot](DirectoryShape& d) { d.zeroSlots.insert(slot); }); };
}

Change removesBlob(std::uint32_t slot) {
  return [slot](World& world) {
    world.eachSlice([slot](SliceShape& slice) {
      slice.signature.editBlobs = [slot](SlotBlobs& blobs) {
        std::erase_if(blobs, [slot](const auto& entry) { return entry.first == slot; });
      };
    });
  };
}

Change twoDirectoriesAnd(const Change& change) {
  return [change](World& world) {
    world.useHashTypes({1, 2});
    change(world);
  };
}

/// Of the n-th directory of each slice, before it is signed: the slot says "absent", or has the hash of other bytes.
Change zeroesInOne(std::size_t n, int slot) {
  return [=](World& world) {
    world.eachSlice([=](SliceShape& slice) { slice.signature.directories.at(n).zeroSlots.insert(slot); });
  };
}

Change spoilsInOne(std::size_t n, std::size_t slot) {
  return [=](World& world) {
    world.eachSlice([=](SliceShape& slice) {
      slice.signature.directories.at(n).spoil = [slot](Bytes& bytes) {
        bytes.at(big32At(bytes, hashOffsetField) - slot * bytes.at(hashSizeField)) ^= 1;
      };
    });
  };
}

/// The wrapper of these slots is no part of what their hash is about.
void hashWithItsWrapper(World& world) {
  addBlob(world, 4, wrapperMagic);
  world.eachDirectory([](DirectoryShape& directory) {
    directory.spoil = [](Bytes& bytes) {
      const Bytes hash = slotDigest(blob(wrapperMagic, asBytes("the content of slot 4")), 2);
      std::copy(hash.begin(), hash.end(),
                bytes.begin() + static_cast<std::ptrdiff_t>(big32At(bytes, hashOffsetField) - 4 * hash.size()));
    };
  });
}

const std::vector<SigningCase> cases = {
    {66, "entitlements", accepted, addEntitlements, flips(5)},
    {66, "entitlementsInDER", accepted, addEntitlements, flips(7)},
    {66, "entitlementsOfTheFirstSlice", accepted, addEntitlements,
     [](World& w) { w.flipBlob(0, 5, blobHeaderByteCount); }},
    {66, "requirements", accepted, nothing, flipRequirements},
    {66, "requirementsUnsealed", invalid, zeroes(2)},
    {66, "requirementsRemoved", invalid, removesBlob(2)},
    {66, "requirementsUnsealedAndRemoved", accepted, both(zeroes(2), removesBlob(2)), flipsCode},
    {66, "applicationSpecific", accepted, adds(4, wrapperMagic), flips(4)},
    {66, "applicationSpecificWithItsWrapper", invalid, hashWithItsWrapper},
    {66, "representationSpecific", accepted, adds(6, wrapperMagic), flips(6)},
    {66, "launchConstraintOfItself", accepted, adds(8, launchConstraintMagic), flips(8)},
    {66, "launchConstraintOfTheParent", accepted, adds(9, launchConstraintMagic), flips(9)},
    {66, "launchConstraintOfTheResponsible", accepted, adds(10, launchConstraintMagic), flips(10)},
    {66, "libraryConstraint", accepted, adds(11, launchConstraintMagic), flips(11)},
    {67, "entitlementsUnsealed", invalid, both(addEntitlements, zeroes(5))},
    {67, "entitlementsInDERUnsealed", invalid, both(addEntitlements, zeroes(7))},
    {67, "libraryConstraintUnsealed", invalid, both(adds(11, launchConstraintMagic), zeroes(11))},
    {67, "entitlementsRemoved", invalid, both(addEntitlements, removesBlob(5))},
    {67, "entitlementsInDERRemoved", invalid, both(addEntitlements, removesBlob(7))},
    {67, "libraryConstraintRemoved", invalid, both(adds(11, launchConstraintMagic), removesBlob(11))},
    {67, "anUnknownSlotSealed", invalid, adds(12, launchConstraintMagic)},
    {67, "anUnknownSlotNotSealed", accepted, both(adds(12, launchConstraintMagic), zeroes(12)), flipsCode},
    {67, "anUnknownSlotSealedWithoutABlob", invalid, both(adds(12, launchConstraintMagic), removesBlob(12))},
    {67, "entitlementsOfAnotherKind", invalid, adds(5, entitlementsDERMagic)},
    {67, "entitlementsInDEROfAnotherKind", invalid, adds(7, entitlementsMagic)},
    {67, "aConstraintOfAnotherKind", invalid, adds(8, entitlementsMagic)},
    {68, "twoDirectoriesThatAgree", accepted, twoDirectoriesAnd(addEntitlements), flips(7)},
    {68, "theBaseWithoutEntitlements", invalid, twoDirectoriesAnd(both(addEntitlements, zeroesInOne(0, 5)))},
    {68, "theAlternateWithoutEntitlements", invalid, twoDirectoriesAnd(both(addEntitlements, zeroesInOne(1, 5)))},
    {68, "theBaseOverOtherEntitlements", invalid, twoDirectoriesAnd(both(addEntitlements, spoilsInOne(0, 5)))},
    {68, "theAlternateOverOtherEntitlements", invalid, twoDirectoriesAnd(both(addEntitlements, spoilsInOne(1, 5)))},
    {68, "theBaseOverAnotherInfo", invalid, twoDirectoriesAnd(spoilsInOne(0, 1))},
    {68, "theAlternateOverAnotherInfo", invalid, twoDirectoriesAnd(spoilsInOne(1, 1))},
    {68, "theBaseWithoutASeal", invalid, twoDirectoriesAnd(zeroesInOne(0, 3))},
    {68, "theAlternateWithoutASeal", invalid, twoDirectoriesAnd(zeroesInOne(1, 3))},
    {68, "theAlternateOverAnotherSeal", invalid, twoDirectoriesAnd(spoilsInOne(1, 3))},
};

class SpecialSlotCases : public SigningCaseTest {};
TEST_P(SpecialSlotCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, SpecialSlotCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
