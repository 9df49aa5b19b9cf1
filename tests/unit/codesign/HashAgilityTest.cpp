#include "platform/linux/codesign/HashAgility.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/codesign/ByteWriter.h"
#include "unit/codesign/MessageWorld.h"

namespace brindlewick::testing {
namespace {

constexpr const char* codeHashes = "1.2.840.113635.100.9.1";

/// With directories of SHA-1 and SHA-256, as systems before 10.12 needed them.
std::function<void(MessageWorld&)> twoDirectories(void (*change)(MessageShape&) = nullptr) {
  return [change](MessageWorld& world) {
    world.hashTypes = {1, 2};
    if (change != nullptr) change(world.message);
  };
}

void flipAlternate(MessageWorld& world) { world.directories.back().back() ^= 1; }

const MessageCase cases[] = {
    {"oneDirectoryWithoutTheAttributes", content,
     message([](MessageShape& m) { m.listsCodeHashes = m.listsDigests = false; }), flipDirectory},
    {"twoDirectories", "the list holds the directories' code hashes in order", twoDirectories(), flipAlternate},
    {"digestsInTheOrderThatOpenSSLWouldSort", "the list holds the directories' code hashes in order",
     twoDirectories([](MessageShape& m) { m.digestsInDEROrder = false; }), flipAlternate},
    {"theBestDirectoryFirst", content,
     [](MessageWorld& w) {
       w.hashTypes = {2, 1};
     },
     flipDirectory},
    {"everyHashType", "the list holds the directories' code hashes in order",
     [](MessageWorld& w) {
       w.hashTypes = {1, 2, 3, 4};
     },
     flipAlternate},
    {"onlyTheCodeHashes", "the list holds the directories' code hashes in order",
     twoDirectories([](MessageShape& m) { m.listsDigests = false; }), flipAlternate},
    {"onlyTheDigests", "a listed digest is the one of a directory",
     twoDirectories([](MessageShape& m) { m.listsCodeHashes = false; }), flipAlternate},
    {"onlyTheDigestsOfEveryHashType", "a listed digest is the one of a directory",
     [](MessageWorld& w) {
       w.hashTypes = {4, 3, 2, 1};
       w.message.listsCodeHashes = false;
     },
     flipAlternate},
    {"twoDirectoriesWithoutTheAttributes", "the attributes cover every directory",
     twoDirectories([](MessageShape& m) { m.listsCodeHashes = m.listsDigests = false; })},
    {"aWrongCodeHash", "the list holds the directories' code hashes in order", twoDirectories([](MessageShape& m) {
       m.editCodeHashes = [](std::vector<Bytes>& hashes) { hashes.back().back() ^= 1; };
     })},
    {"codeHashesInTheWrongOrder", "the list holds the directories' code hashes in order",
     twoDirectories(
         [](MessageShape& m) { m.editCodeHashes = [](std::vector<Bytes>& hashes) { std::ranges::reverse(hashes); }; })},
    {"oneCodeHashTooMany", "each directory has one code hash in the list", twoDirectories([](MessageShape& m) {
       m.editCodeHashes = [](std::vector<Bytes>& hashes) { hashes.push_back(hashes.back()); };
     })},
    {"oneCodeHashTooFew", "each directory has one code hash in the list",
     twoDirectories([](MessageShape& m) { m.editCodeHashes = [](std::vector<Bytes>& hashes) { hashes.pop_back(); }; })},
    {"aLongCodeHash", "the list holds the directories' code hashes in order", message([](MessageShape& m) {
       m.editCodeHashes = [](std::vector<Bytes>& hashes) { hashes.back().push_back(0); };
     })},
    {"aListThatIsNone", "the list of code hashes is a property list", attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, codeHashes);
       all.push_back(attribute(codeHashes, {der::octets(Bytes{'x'})}));
     })},
    {"aListThatNestsDeeply", "the list of code hashes is short", attributes([](std::vector<Bytes>& all) {
       removeAttribute(all, codeHashes);
       Bytes list;
       for (int i = 0; i < 100'000; ++i) append(list, asBytes("<array>"));
       all.push_back(attribute(codeHashes, {der::octets(list)}));
     })},
    {"oneDigestTooMany", "a listed digest is the one of a directory", twoDirectories([](MessageShape& m) {
       m.editDigests = [](std::vector<Bytes>& values) { values.push_back(values.back()); };
     })},
    {"oneDigestTooFew", "each directory has a listed digest",
     twoDirectories([](MessageShape& m) { m.editDigests = [](std::vector<Bytes>& values) { values.pop_back(); }; })},
    {"oneDirectoryListedTwice", "a listed digest is the one of a directory", twoDirectories([](MessageShape& m) {
       m.editDigests = [](std::vector<Bytes>& values) { values.front() = values.back(); };
     })},
    {"aWrongDigest", "a listed digest is the one of a directory", twoDirectories([](MessageShape& m) {
       m.editDigests = [](std::vector<Bytes>& values) { values.front().back() ^= 1; };
     })},
    {"aDigestOfAnUnknownAlgorithm", "a listed digest is the one of a directory", twoDirectories([](MessageShape& m) {
       m.editDigests = [](std::vector<Bytes>& values) {
         values.front() = der::sequence({der::oid("2.16.840.1.101.3.4.2.3"), der::octets(Bytes(64, 1))});
       };
     })},
    {"anAlternateAddedLater", "each directory has one code hash in the list",
     [](MessageWorld& w) {
       w.sign();
       w.hashTypes.push_back(4);
       w.directories.push_back(Bytes{'n', 'e', 'w'});
     }},
    {"theSameHashTypeAgainAndAgain", "there is a directory for a hash type",
     [](MessageWorld& w) {
       w.hashTypes = {2, 2, 2, 2, 2};
     }},
};

class HashAgility : public ::testing::TestWithParam<MessageCase> {};
TEST_P(HashAgility, isJudgedByItsRules) { judge(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, HashAgility, ::testing::ValuesIn(cases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace brindlewick::testing
