#include <filesystem>

#include "support/codesign/ByteWriter.h"
#include "support/codesign/PropertyListText.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

const std::string library = "Frameworks/libwords.dylib";
const std::string helper = "Helpers/helper";
const std::string framework = "Frameworks/Core.framework";

void nestLibrary(World& world) {
  world.bundle.nested[library] = BundleShape::file("libwords", dynamicLibraryFile, SignatureKind::certificate);
}

void nestAdHocHelper(World& world) {
  world.bundle.nested[helper] = BundleShape::file("helper", executableFile, SignatureKind::adHoc);
}

std::function<void(World&)> nestsFramework(BundleLayout layout) {
  return [layout](World& world) {
    NestedItem item;
    item.code = std::make_shared<BundleShape>(BundleShape::framework("Core", layout));
    world.bundle.nested[framework] = item;
  };
}

void nestVersionedFramework(World& world) { nestsFramework(BundleLayout::versioned)(world); }

/// A flat framework with one more item, which is sealed.
std::function<void(World&)> nestsFlatFrameworkWith(const std::string& path) {
  return [path](World& world) {
    NestedItem item;
    const auto shape = std::make_shared<BundleShape>(BundleShape::framework("Core", BundleLayout::flat));
    shape->items[path] = FileItem{"data"};
    item.code = shape;
    world.bundle.nested[framework] = item;
  };
}

/// Information in the file itself, which the slot of Info.plist then seals.
void nestLibraryWithInformation(World& world) {
  nestLibrary(world);
  for (SliceShape& slice : std::get<CodeFileShape>(world.bundle.nested[library].code).slices)
    slice.informationSection = plist::document(plist::dictionary({{"CFBundleIdentifier", plist::string("libwords")}}));
}

/// A library of the same signer, but not the one that was sealed.
void replaceLibrary(World& world) {
  nestLibrary(world);
  world.onDisk([&world](const Path& application) {
    const SigningContext context{"libother", "TEAM123456", {}, world.pki()};
    writeFile(application / "Contents" / library,
              asText(signedCode(CodeFileShape::universal(dynamicLibraryFile, 11), context).file), 0755);
  });
}

void stripLibrary(World& world) {
  nestLibrary(world);
  CodeFileShape stripped = CodeFileShape::universal(dynamicLibraryFile, 9);
  for (SliceShape& slice : stripped.slices) slice.signature.kind = SignatureKind::none;
  world.onDisk([stripped, certificates = world.certificates](const Path& application) {
    const SigningContext context{"libwords", "TEAM123456", {}, TestPKI::issued(certificates)};
    writeFile(application / "Contents" / library, asText(signedCode(stripped, context).file), 0755);
  });
}

/// One architecture's hash is another one's: the requirement then knows only the other architecture.
void nestHelperWithAWrongHash(World& world) {
  nestAdHocHelper(world);
  NestedItem& item = world.bundle.nested[helper];
  const SigningContext context{item.identifier, item.team, {}, TestPKI::issued(world.certificates)};
  std::vector<Bytes> hashes = signedCode(std::get<CodeFileShape>(item.code), context).codeHashes;
  hashes.at(1).at(0) ^= 1;
  item.requirement = codeHashRequirement(hashes);
}

void flipNestedCode(World& world, const std::string& path) { world.flip(path, 0x4000 + 0x5000); }

void pointCurrentOutside(World& world) {
  nestVersionedFramework(world);
  world.remove("Contents/" + framework + "/Versions/Current");
  world.addLink("Contents/" + framework + "/Versions/Current", "../../Core.framework/Versions/A");
}

void addUnsignedVersion(World& world) {
  nestVersionedFramework(world);
  world.addFile("Contents/" + framework + "/Versions/B/Core", "not even a Mach-O file", 0755);
}

/// A signed tool where no rule expects code: its bytes are sealed like those of any file.
void sealToolAsAResource(World& world) {
  const SigningContext context{"tool", "TEAM123456", {}, TestPKI::issued(world.certificates)};
  const Bytes tool = signedCode(CodeFileShape::universal(executableFile, 13), context).file;
  world.bundle.items["Resources/tool"] = FileItem{std::string(asText(tool)), 0755};
}

/// A framework whose Info.plist holds a text of 20 MiB, so that its property list takes twice as much.
std::shared_ptr<BundleShape> largeFramework(const std::string& name) {
  auto shape = std::make_shared<BundleShape>(BundleShape::framework(name, BundleLayout::flat));
  shape->information["Text"] = plist::string(std::string(20 << 20, 'x'));
  return shape;
}

NestedItem nested(std::shared_ptr<BundleShape> shape) {
  NestedItem item;
  item.code = std::move(shape);
  return item;
}

/// One behind the other, as many as may be.
void nestLargeFrameworks(World& world) {
  for (const std::string name : {"One", "Two", "Three"})
    world.bundle.nested["Frameworks/" + name + ".framework"] = nested(largeFramework(name));
}

void nestLargeFrameworkInAnother(World& world) {
  const auto outer = largeFramework("One");
  outer->nested["Frameworks/Two.framework"] = nested(largeFramework("Two"));
  world.bundle.nested["Frameworks/One.framework"] = nested(outer);
}

/// Frameworks inside each other, `levels` of them.
std::function<void(World&)> nestsFrameworks(int levels) {
  return [levels](World& world) {
    std::shared_ptr<BundleShape> inner;
    for (int i = 0; i < levels; ++i) {
      const auto outer = std::make_shared<BundleShape>(BundleShape::framework("Core", BundleLayout::flat));
      if (inner != nullptr) outer->nested[framework] = nested(inner);
      inner = outer;
    }
    world.bundle.nested[framework] = nested(inner);
  };
}

/// A further version of the framework, signed like the first until the change. The ticket knows only the first.
std::function<void(World&)> addsVersion(void (*change)(BundleShape&, TestPKI&)) {
  return [change](World& world) {
    nestVersionedFramework(world);
    world.onDisk([change, &world](const Path& application) {
      BundleShape version = BundleShape::framework("Core", BundleLayout::versioned);
      TestPKI pki = world.pki();
      change(version, pki);
      const Path aside = application.parent() / "Other.framework";
      static_cast<void>(writeBundle(aside, version, pki));
      std::filesystem::rename((aside / "Versions/A").string(),
                              (application / "Contents" / framework / "Versions/B").string());
    });
  };
}

/// Puts another text into a link of the framework.
void relink(World& world, const std::string& item, const std::string& target) {
  world.remove("Contents/" + framework + "/" + item);
  world.addLink("Contents/" + framework + "/" + item, target);
}

void beginLinksWithTheirFolder(World& world) {
  nestVersionedFramework(world);
  relink(world, "Versions/Current", "./A");
  relink(world, "Core", "./Versions/Current/Core");
}

void linkRootToAnotherVersion(World& world) {
  addsVersion([](BundleShape&, TestPKI&) {})(world);
  relink(world, "Core", "Versions/B/Core");
}

void useOthersKeys(BundleShape&, TestPKI& pki) {
  pki = TestPKI::issued(PKIShape::developerID("TEAM123456", " of others"));
}

const std::vector<SigningCase> cases = {
    {53, "aLibrary", accepted, nestLibrary, [](World& w) { w.flip(library, 0x4000 + 0x6F10 + 60); }},
    {53, "aLibraryWithInformation", accepted, nestLibraryWithInformation,
     [](World& w) { w.flipText(library, "libwords"); }},
    {54, "anotherLibrary", invalid, replaceLibrary},
    {54, "theLibraryRemoved", invalid,
     [](World& w) {
       nestLibrary(w);
       w.remove("Contents/" + library);
     }},
    {54, "theLibraryUnsigned", invalid, stripLibrary},
    {55, "anAdHocHelper", accepted, nestAdHocHelper, [](World& w) { w.flip(helper, 0x4000 + 0x6F10 + 60); }},
    {55, "anAdHocHelperOfAnotherHash", invalid, nestHelperWithAWrongHash},
    {56, "nestedCodeChanged", notAssessed,
     [](World& w) {
       nestLibrary(w);
       flipNestedCode(w, library);
     }},
    {56, "nestedResourceChanged", notAssessed,
     [](World& w) {
       nestsFramework(BundleLayout::flat)(w);
       w.flip(framework + "/Resources/data.txt", 0);
     }},
    {56, "nestedFrameworkWithoutLinks", accepted, nestsFramework(BundleLayout::flat),
     [](World& w) { w.flipText(framework + "/Info.plist", "FMWK"); }},
    {56, "flatWithPartsOfAnotherForm", invalid, nestsFlatFrameworkWith("Support Files/data.txt")},
    {56, "flatWithAWrappedBundle", invalid, nestsFlatFrameworkWith("WrappedBundle")},
    {56, "flatWithContentsInAnotherCase", invalid, nestsFlatFrameworkWith("contents/data.txt")},
    {56, "flatWithFurtherItems", accepted, nestsFlatFrameworkWith("Wrapped/data.txt"),
     [](World& w) { w.flip(framework + "/Wrapped/data.txt", 0); }, notAssessed},
    {57, "aFrameworkWithVersions", accepted, nestVersionedFramework,
     [](World& w) { w.flipText(framework + "/Versions/A/Resources/Info.plist", "FMWK"); }},
    {57, "aFileInTheFrameworksRoot", invalid,
     [](World& w) {
       nestVersionedFramework(w);
       w.addFile("Contents/" + framework + "/extra");
     }},
    {57, "linksThatBeginWithTheirFolder", accepted, beginLinksWithTheirFolder,
     [](World& w) { w.flipText(framework + "/Versions/A/Resources/Info.plist", "FMWK"); }},
    {57, "aRootLinkIntoAVersionThatIsNotCurrent", invalid, linkRootToAnotherVersion},
    {57, "currentVersionOutside", invalid, pointCurrentOutside},
    {57, "aSecondVersionUnsigned", invalid, addUnsignedVersion},
    {57, "largePropertyListsBesideEachOther", accepted, nestLargeFrameworks,
     [](World& w) { w.flipText("Frameworks/Two.framework/Info.plist", "FMWK"); }},
    {57, "largePropertyListsInsideEachOther", notAssessed, nestLargeFrameworkInAnother},
    {57, "aSecondVersionThatMeetsTheRequirement", accepted, addsVersion([](BundleShape&, TestPKI&) {}),
     [](World& w) { w.flipText(framework + "/Versions/B/Resources/Info.plist", "FMWK"); }},
    {57, "aSecondVersionThatTheTicketDoesNotName", notAssessed, addsVersion([](BundleShape& version, TestPKI&) {
       version.code = CodeFileShape::universal(dynamicLibraryFile, 8);
     })},
    {57, "aSecondVersionOfAnotherName", invalid,
     addsVersion([](BundleShape& version, TestPKI&) { version.identifier = "com.brindlewick.Other"; })},
    {57, "aSecondVersionUnderAnotherRoot", invalid, addsVersion(useOthersKeys)},
    {57, "sixteenLevelsOfCode", accepted, nestsFrameworks(16),
     [](World& w) { w.flip(framework + "/" + framework + "/Resources/data.txt", 0); }, notAssessed},
    {57, "seventeenLevelsOfCode", notAssessed, nestsFrameworks(17)},
    {58, "codeSealedAsAResource", accepted, sealToolAsAResource, [](World& w) { w.flip("Resources/tool", 0x9000); }},
};

class NestedCodeCases : public SigningCaseTest {};
TEST_P(NestedCodeCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, NestedCodeCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
