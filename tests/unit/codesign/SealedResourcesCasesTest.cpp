#include <algorithm>

#include "support/codesign/PropertyListText.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

constexpr const char* everything = "^.*";

std::function<void(World&)> addsRule(const std::string& pattern, const std::string& effect) {
  return [=](World& world) { world.bundle.seal.rules.emplace_back(pattern, effect); };
}

std::string weighted(const std::string& effect, const std::string& weight) {
  return plist::dictionary({{effect, "<true/>"}, {"weight", weight}});
}

/// A letter in groups inside each other, each of them repeated.
std::string nestedGroups(std::size_t depth, const std::string& repetition) {
  std::string pattern = std::string(depth, '(') + "a";
  for (std::size_t i = 0; i < depth; ++i) pattern += ")" + repetition;
  return pattern;
}

std::function<void(World&)> replacesRule(const std::string& pattern, const std::string& effect) {
  return [=](World& world) {
    for (auto& rule : world.bundle.seal.rules)
      if (rule.first == pattern) rule.second = effect;
  };
}

void removeFirstRule(World& world) {
  std::erase_if(world.bundle.seal.rules, [](const ResourceRule& rule) { return rule.first == everything; });
}

std::function<void(World&)> sealsIcon(const std::string& element) {
  return [=](World& world) { world.bundle.seal.entries["Resources/icon.icns"] = element; };
}

std::function<void(World&)> removes(const std::string& path) {
  return [=](World& world) { world.remove(path); };
}

/// Renames a key of the finished seal, before it is signed.
std::function<void(World&)> renames(const std::string& key) {
  return [key](World& world) {
    world.bundle.seal.spoil = [key](std::string& text) { text.at(text.find(key) + 5) = 'F'; };
  };
}

/// More than one thread hashes so many.
std::string manyPath(int number) { return "Resources/many/" + std::to_string(number); }

void addMany(World& world) {
  for (int i = 0; i < 600; ++i) world.bundle.items[manyPath(i)] = FileItem{"file " + std::to_string(i)};
}

const std::vector<SigningCase> cases = {
    {41, "manyFiles", accepted, addMany, [](World& w) { w.flip(manyPath(599), 0); }},
    {41, "manyFilesOfWhichTheFirstIsChanged", invalid,
     [](World& w) {
       addMany(w);
       w.flip(manyPath(0), 0);
     }},
    {41, "manyFilesThatAreAllChanged", invalid,
     [](World& w) {
       addMany(w);
       for (int i = 0; i < 600; ++i) w.flip(manyPath(i), 0);
     }},
    {41, "aResourceChanged", invalid, [](World& w) { w.flip("Resources/words/list.txt", 0); }},
    {41, "aResourceAdded", invalid, [](World& w) { w.addFile("Contents/Resources/new.txt"); }},
    {41, "aResourceRemoved", invalid, removes("Contents/Resources/words/list.txt")},
    {42, "anOptionalFileRemoved", accepted, removes("Contents/Resources/en.lproj/Localizable.strings"),
     [](World& w) { w.flip("Resources/Base.lproj/Main.nib", 0); }},
    {42, "anOptionalFileChanged", invalid, [](World& w) { w.flip("Resources/en.lproj/Localizable.strings", 0); }},
    {42, "aFileAddedToALanguage", invalid, [](World& w) { w.addFile("Contents/Resources/en.lproj/New.strings"); }},
    {42, "aFileOfTheBaseLanguageRemoved", invalid, removes("Contents/Resources/Base.lproj/Main.nib")},
    {50, "aFurtherOmission", invalid, addsRule("^Resources/words/", weighted("omit", "<real>30</real>"))},
    {50, "aFurtherRuleThatIsFalse", invalid, addsRule("^Resources/words/", "<false/>")},
    {50, "codeThatIsLeftOut", invalid,
     replacesRule("^(.*/)?\\.DS_Store$",
                  plist::dictionary({{"nested", "<true/>"}, {"omit", "<true/>"}, {"weight", "<real>2000</real>"}}))},
    {50, "noRuleForEverything", invalid, removeFirstRule},
    {50, "theRuleForEverythingIsADictionary", invalid, replacesRule(everything, weighted("nothing", "<real>1</real>"))},
    {50, "aBadPattern", invalid, addsRule("^Resources/(", "<true/>")},
    // What the library of regular expressions would not be done with in a lifetime.
    {50, "repetitionsOfARepetition", invalid, addsRule("^Resources/a" + std::string(40, '+'), "<true/>")},
    {50, "repetitionsOfGroups", invalid, addsRule(nestedGroups(20, "+"), "<true/>")},
    {50, "repetitionsOfGroupsWithAnchors", invalid, addsRule("(^|(^|(((((a)*)*)*)*)*$)+$)+", "<true/>")},
    {50, "aCountedRepetition", invalid, addsRule("^Resources/a{1,250}", "<true/>")},
    {50, "aReferenceBack", invalid, addsRule("^(Resources)/\\1", "<true/>")},
    {50, "anEscapeThatIsNoCharacter", invalid, addsRule("^Resources/\\bwords", "<true/>")},
    {50, "aGroupThatMayBeMissing", accepted, addsRule("^Resources/(words/)?[a-z]+\\.nothing$", "<true/>"),
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {51, "versionOneOnly", invalid, [](World& w) { w.bundle.seal.hasRules2 = w.bundle.seal.hasFiles2 = false; }},
    {51, "versionTwoOnly", invalid, [](World& w) { w.bundle.seal.hasVersion1 = false; }},
    {51, "noFilesOfVersionOne", invalid, renames("<key>files</key>")},
    {51, "noRulesOfVersionOne", invalid, renames("<key>rules</key>")},
    {51, "filesWithoutRules", invalid, [](World& w) { w.bundle.seal.hasRules2 = false; }},
    {51, "weightsAsReals", accepted,
     replacesRule("^version\\.plist$", "<dict><key>weight</key><real>20.75</real></dict>"),
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {51, "weightsAsIntegers", accepted,
     replacesRule("^version\\.plist$", "<dict><key>weight</key><integer>20</integer></dict>"),
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {51, "twoRulesOfOneWeight", invalid, addsRule("^Resources/words/", weighted("optional", "<real>20</real>"))},
    {52, "sealedForSHA1Only", invalid, sealsIcon(fileSeal(asBytes("icns, or so the name says"), {1}, false))},
    {52, "sealIsANumber", invalid, sealsIcon("<integer>5</integer>")},
    {52, "sealIsAnOldOne", invalid, sealsIcon(plist::data(slotDigest(asBytes("icns, or so the name says"), 1)))},
};

class SealedResourcesCases : public SigningCaseTest {};
TEST_P(SealedResourcesCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, SealedResourcesCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
