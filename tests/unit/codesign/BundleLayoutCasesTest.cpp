#include <sys/stat.h>
#include <sys/xattr.h>

#include <filesystem>

#include "support/codesign/PropertyListText.h"
#include "unit/codesign/SigningCase.h"

namespace brindlewick::testing {
namespace {

std::function<void(World&)> adds(const std::string& path, unsigned mode = 0644) {
  return [=](World& world) { world.addFile(path, "new", mode); };
}

std::function<void(World&)> addsDirectory(const std::string& path) {
  return [=](World& world) { world.addDirectory(path); };
}

std::function<void(World&)> addsLink(const std::string& path, const std::string& target) {
  return [=](World& world) { world.addLink(path, target); };
}

std::function<void(World&)> removes(const std::string& path) {
  return [=](World& world) { world.remove(path); };
}

std::function<void(World&)> zeroSlot(int slot) {
  return [=](World& world) { world.eachDirectory([=](DirectoryShape& d) { d.zeroSlots = {slot}; }); };
}

/// Moves the item aside, out of the bundle, and leaves a link to it.
std::function<void(World&)> becomesLink(const std::string& path) {
  return [path](World& world) {
    world.onDisk([path](const Path& application) {
      const Path aside = application.parent() / "aside";
      std::filesystem::rename((application / path).string(), aside.string());
      std::filesystem::create_symlink(aside.string(), (application / path).string());
    });
  };
}

void addPipe(World& world) {
  world.onDisk([](const Path& application) {
    if (mkfifo((application / "Contents/Resources/pipe").c_str(), 0644) != 0) throw std::runtime_error("no pipe");
  });
}

void addAttributes(World& world) {
  world.onDisk([](const Path& application) {
    for (const std::string path : {"", "/Contents/Info.plist", "/Contents/MacOS/Brindlewick", "/Contents/Resources",
                                   "/Contents/Resources/icon.icns", "/Contents/_CodeSignature/CodeResources"})
      if (setxattr((application.string() + path).c_str(), "user.brindlewick.test", "value", 5, 0) != 0)
        throw std::runtime_error("no attribute");
  });
}

/// Where the platform keeps the signature of code that is no Mach-O file.
void signScriptInItsAttributes(World& world) {
  const std::string executable = "Contents/" + mainExecutable;
  world.remove(executable);
  world.addFile(executable, "#!/bin/sh\n", 0755);
  world.onDisk([executable](const Path& application) {
    for (const std::string part : {"CodeDirectory", "CodeRequirements", "CodeSignature"}) {
      const std::string name = "user.com.apple.cs." + part;
      if (setxattr((application / executable).c_str(), name.c_str(), part.data(), part.size(), 0) != 0)
        throw std::runtime_error("no attribute");
    }
  });
}

std::function<void(World&)> executableName(const std::string& name) {
  return [name](World& world) { world.bundle.information["CFBundleExecutable"] = plist::string(name); };
}

std::function<void(World&)> informs(const std::string& key, const std::string& text) {
  return [=](World& world) { world.bundle.information[key] = plist::string(text); };
}

void sealLink(World& world) { world.bundle.items["Resources/link"] = LinkItem{"icon.icns"}; }

std::function<void(World&)> sealsLink(const std::string& path, const std::string& target) {
  return [=](World& world) { world.bundle.items[path] = LinkItem{target}; };
}

/// The sealed file at the end of a path of this many bytes below Contents.
std::function<void(World&)> sealsLongPath(std::size_t byteCount) {
  return [=](World& world) {
    std::string path = "Resources";
    while (path.size() + 101 < byteCount) path += "/" + std::string(100, 'x');
    world.bundle.items[path + "/" + std::string(byteCount - path.size() - 1, 'y')] = FileItem{"deep"};
  };
}

/// A sealed file below this many folders inside each other.
std::function<void(World&)> sealsFileInFolders(int depth) {
  return [depth](World& world) {
    std::string path = "Resources";
    for (int i = 1; i < depth; ++i) path += "/d";
    world.bundle.items[path + "/file"] = FileItem{"deep"};
  };
}

void retargetLink(World& world) {
  world.remove("Contents/Resources/link");
  world.addLink("Contents/Resources/link", "icon.icnt");
}

/// The same name to a reader, other bytes: an accent composed, and decomposed.
void renormalize(World& world) {
  world.bundle.items["Resources/\xC3\xA9.txt"] = FileItem{"accent"};
  world.onDisk([](const Path& application) {
    const std::string folder = (application / "Contents/Resources/").string();
    std::filesystem::rename(folder + "/\xC3\xA9.txt", folder + "/e\xCC\x81.txt");
  });
}

const std::vector<SigningCase> cases = {
    {38, "informationChanged", invalid, [](World& w) { w.flipText("Info.plist", "2.4.0"); }},
    {38, "informationUnsealed", invalid, zeroSlot(1)},
    {38, "informationIsALink", invalid, becomesLink("Contents/Info.plist")},
    {38, "binaryInformation", accepted, [](World& w) { w.bundle.hasBinaryInformation = true; },
     [](World& w) { w.flipText("Info.plist", "2.4.0"); }},
    {38, "informationForMacOSBeside", invalid, adds("Contents/Info-macos.plist")},
    {38, "executableForMacOSOnly", invalid, informs("CFBundleExecutable-macos", "Other")},
    {38, "identifierForMacOSOnly", invalid, informs("CFBundleIdentifier-macosx", "com.brindlewick.other")},
    {38, "typeForMacOSOnly", invalid, informs("CFBundlePackageType-macos", "BNDL")},
    {38, "versionForMacOSOnly", invalid, informs("CFBundleShortVersionString-macos", "9.9.9")},
    {38, "buildForADevice", invalid, informs("CFBundleVersion~mac", "999")},
    {38, "keysOfTheSameBeginning", accepted, informs("CFBundleVersionName", "2.4"),
     [](World& w) { w.flipText("Info.plist", "2.4.0"); }},
    {38, "aVariantOfAnotherKey", accepted, informs("CFBundleIconFile~ipad", "icon"),
     [](World& w) { w.flipText("Info.plist", "2.4.0"); }},
    {39, "sealChanged", invalid, [](World& w) { w.flipText("_CodeSignature/CodeResources", "icon.icns"); }},
    {39, "sealRemoved", invalid, removes("Contents/_CodeSignature/CodeResources")},
    {39, "sealUnsealed", invalid, zeroSlot(3)},
    {40, "aFileBesideTheSeal", invalid, adds("Contents/_CodeSignature/CodeDirectory")},
    {40, "aLinkBesideTheSeal", invalid, addsLink("Contents/_CodeSignature/CodeSignature", "CodeResources")},
    {40, "anEmptyFileOfTheSignature", accepted,
     [](World& w) { w.addFile("Contents/_CodeSignature/CodeSignature", ""); },
     adds("Contents/_CodeSignature/CodeSignaturf")},
    {43, "typeFileChanged", accepted, [](World& w) { w.addFile("Contents/PkgInfo", "OTHER"); },
     [](World& w) { w.addFile("Contents/PkgInfp", "OTHER"); }},
    {43, "typeFileRemoved", accepted, removes("Contents/PkgInfo"), [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {43, "finderFileAdded", accepted, adds("Contents/Resources/.DS_Store"), adds("Contents/Resources/.DS_Storf")},
    {43, "languageVersionAdded", accepted, adds("Contents/Resources/en.lproj/locversion.plist"),
     adds("Contents/Resources/en.lproj/locversion.plisu")},
    {44, "aTicket", accepted, nothing, [](World& w) { w.flip("CodeResources", 100); }, notAssessed},
    {44, "aDirectoryInPlaceOfTheTicket", invalid,
     [](World& w) {
       w.bundle.ticket.reset();
       w.addDirectory("Contents/CodeResources");
     }},
    {44, "aStoreReceipt", invalid, adds("Contents/_MASReceipt/receipt")},
    {45, "aFileInTheRoot", invalid, adds("ReadMe.txt")},
    {45, "aDirectoryInTheRoot", invalid, addsDirectory("Other")},
    {45, "aLinkInTheRoot", invalid, addsLink("Link", "Contents")},
    {45, "finderFileInTheRoot", accepted, adds(".DS_Store"), adds(".DS_Storf")},
    {45, "executableFinderFileInTheRoot", invalid, adds(".DS_Store", 0755)},
    {46, "aHelperAdded", invalid, adds("Contents/MacOS/helper", 0755)},
    {46, "aDottedDirectoryInFrameworks", invalid, addsDirectory("Contents/Frameworks/Other.framework")},
    {46, "anEmptyDirectory", accepted, addsDirectory("Contents/Frameworks/Other"), adds("Contents/Frameworks/Other/x")},
    {47, "aLinkAdded", invalid, addsLink("Contents/Resources/link", "icon.icns")},
    {47, "aSealedLink", accepted, sealLink, retargetLink},
    {47, "aLinkToTheSystem", accepted, sealsLink("Resources/link", "/System/Library/Fonts"),
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {47, "aLinkToAnotherFolder", accepted, sealsLink("Resources/words/link", "../icon.icns"),
     [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {47, "aLinkOutOfTheBundle", notAssessed, sealsLink("Resources/link", "../../../Other.app")},
    {47, "aLinkToAUsersFolder", notAssessed, sealsLink("Resources/link", "/Users/Shared/evil")},
    {47, "aLinkThroughTheSystem", notAssessed, sealsLink("Resources/link", "/System/../Users/Shared/evil")},
    {47, "aLinkThroughTheLibrary", notAssessed, sealsLink("Resources/link", "/Library/Fonts/../../tmp/evil")},
    {47, "aLinkThroughALink", notAssessed,
     [](World& w) {
       sealsLink("Resources/a/b/c/up", "../../../")(w);
       sealsLink("Resources/link", "a/b/c/up/../../../evil")(w);
     }},
    {48, "aFileInPlaceOfALink", invalid,
     [](World& w) {
       sealLink(w);
       w.remove("Contents/Resources/link");
       w.addFile("Contents/Resources/link", "icns, or so the name says");
     }},
    {48, "aLinkInPlaceOfAFile", invalid, becomesLink("Contents/Resources/icon.icns")},
    {48, "aLinkNamedLikeTheFinderFile", invalid, addsLink("Contents/Resources/.ds_store", "icon.icns")},
    {48, "aPipe", invalid, addPipe},
    {48, "theLongestPath", accepted, sealsLongPath(1024), [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {48, "aLongerPath", invalid, sealsLongPath(1025)},
    {48, "folders128Deep", accepted, sealsFileInFolders(128), [](World& w) { w.flip("Resources/icon.icns", 0); }},
    {48, "folders129Deep", invalid, sealsFileInFolders(129)},
    {49, "executableIsALink", invalid, becomesLink("Contents/MacOS/Brindlewick")},
    {49, "executableElsewhere", invalid, executableName("../MacOS/Brindlewick")},
    {49, "executableIsTheFolder", invalid, executableName(".")},
    {49, "aScriptSignedInItsAttributes", invalid, signScriptInItsAttributes},
    {49, "noExecutable", invalid, removes("Contents/MacOS/Brindlewick")},
    {49, "executableInContents", invalid,
     [](World& w) {
       w.onDisk([](const Path& application) {
         std::filesystem::rename((application / "Contents/MacOS/Brindlewick").string(),
                                 (application / "Contents/Brindlewick").string());
       });
     }},
    {49, "executableNamedByTheBundle", accepted, [](World& w) { w.bundle.information.erase("CFBundleExecutable"); },
     [](World& w) { w.flipText("Info.plist", "2.4.0"); }},
    {49, "contentsIsALink", invalid, becomesLink("Contents")},
    // Whoever copies a bundle may set some; the platform's two flags do not ask about them.
    {65, "extendedAttributes", accepted, addAttributes, flipsCode},
    {65, "aForkedFileBesideAResource", invalid, adds("Contents/Resources/._icon.icns")},
    {65, "aNameInAnotherNormalForm", invalid, renormalize},
};

class BundleLayoutCases : public SigningCaseTest {};
TEST_P(BundleLayoutCases, getTheirVerdict) { run(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, BundleLayoutCases, ::testing::ValuesIn(cases), caseName);

}  // namespace
}  // namespace brindlewick::testing
