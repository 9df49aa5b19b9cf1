#include "install/ArchiveListing.h"

#include <gmock/gmock.h>

#include "install/UpdateInstallError.h"
#include "platform/posix/PosixProcessLauncher.h"
#include "support/Fails.h"
#include "support/ScriptedProcessLauncher.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using ::testing::ElementsAre;
using testing::failedRun;
using testing::fails;
using testing::printed;

/// Listings as a test writes them.
struct ScriptedListing {
  testing::EventLog log{"/nowhere"};
  testing::ScriptedProcessLauncher processes{log};
  ToolRun names = printed("Brindlewick.app/\nBrindlewick.app/x\n");
  ToolRun attributes = printed("drwxr-xr-x\n-rw-r--r--\n");

  void check() {
    processes.script("/usr/bin/zipinfo",
                     [&](const auto& arguments) { return arguments[0] == "-1" ? names : attributes; });
    ArchiveListing::check(processes, Path("/staged/BrindlewickUpdate.zip"));
  }
};

TEST(ArchiveListing, asksForNamesAndThenForAttributes) {
  ScriptedListing listing;
  listing.check();
  EXPECT_THAT(listing.log.events(), ElementsAre("run /usr/bin/zipinfo -1 /staged/BrindlewickUpdate.zip",
                                                "run /usr/bin/zipinfo -l /staged/BrindlewickUpdate.zip"));
  EXPECT_EQ(listing.processes.limitOf("/usr/bin/zipinfo"), 16'777'216U);
}

TEST(ArchiveListing, dropsEmptyLinesBetweenNames) {
  ScriptedListing listing;
  listing.names = printed("\nBrindlewick.app/\n\n\nBrindlewick.app/x");
  EXPECT_NO_THROW(listing.check());
}

TEST(ArchiveListing, refusesAListingOfTheWrongForm) {
  const std::pair<std::string, std::string> listings[] = {{"", "drwxr-xr-x\n"},
                                                          {"\n\n", "drwxr-xr-x\n"},
                                                          {"Brindlewick.app/\xe9\n", "drwxr-xr-x\n"},
                                                          {"Other.app/\n", "drwxr-xr-x\n"},
                                                          {"Brindlewick.app/\n", "drwxr-xr-x \xe9\n"},
                                                          {"Brindlewick.app/\n", "lrwxr-xr-x\n"}};
  for (const auto& [names, attributes] : listings) {
    ScriptedListing listing;
    listing.names = printed(names);
    listing.attributes = printed(attributes);
    EXPECT_THAT([&] { listing.check(); }, fails(unsafeArchive)) << names << attributes;
  }
}

TEST(ArchiveListing, asksForNoAttributesWhenTheNamesAreRefused) {
  ScriptedListing listing;
  listing.names = printed("Other.app/\n");
  EXPECT_THAT([&] { listing.check(); }, fails(unsafeArchive));
  EXPECT_THAT(listing.log.events(), ElementsAre("run /usr/bin/zipinfo -1 /staged/BrindlewickUpdate.zip"));
}

TEST(ArchiveListing, readsAListingOfExactlyTheLimit) {
  std::string names = "Brindlewick.app/";
  names.resize(16'777'216, 'x');
  ScriptedListing listing;
  listing.names = printed(names);
  EXPECT_NO_THROW(listing.check());
  listing.names = printed(names + "x");
  EXPECT_THAT([&] { listing.check(); }, fails(invalidApplicationBundle));
}

TEST(ArchiveListing, refusesAToolThatFailsOrIsNotThere) {
  ScriptedListing first;
  first.names = failedRun();
  EXPECT_THAT([&] { first.check(); }, fails(invalidApplicationBundle));
  ScriptedListing second;
  second.attributes = failedRun();
  EXPECT_THAT([&] { second.check(); }, fails(invalidApplicationBundle));

  testing::EventLog log("/nowhere");
  testing::ScriptedProcessLauncher missing(log);
  missing.script("/usr/bin/zipinfo", [](auto&) -> ToolRun { testing::failToStart("/usr/bin/zipinfo"); });
  EXPECT_THAT([&] { ArchiveListing::check(missing, Path("/a.zip")); },
              testing::failsWith(std::errc::no_such_file_or_directory));
}

/// Archives as Python makes them, listed by the real tool.
class ArchiveListingWithZipinfo : public ::testing::Test {
 protected:
  /// `script` adds entries to the open archive `z`; `entry(name, mode, system=3)` makes one with these attributes.
  void make(const std::string& script) {
    const std::string program =
        "import sys, zipfile, struct\n"
        "def entry(name, mode, content=b'', system=3):\n"
        "    info = zipfile.ZipInfo('x')\n"
        "    info.filename = name\n"
        "    info.create_system = system\n"
        "    info.external_attr = mode << 16\n"
        "    z.writestr(info, content)\n"
        "with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
        "    pass\n";
    std::string indented;
    for (std::size_t at = 0; at < script.size();) {
      const auto end = std::min(script.find('\n', at), script.size());
      indented += "    " + script.substr(at, end - at) + "\n";
      at = end + 1;
    }
    run("/usr/bin/python3", {"-c", program + indented, archive_.string()});
  }

  void run(const std::string& tool, const std::vector<std::string>& arguments) {
    ASSERT_TRUE(processes_.run(Path(tool), arguments, 1'000'000).succeeded) << tool;
  }

  void check() { ArchiveListing::check(processes_, archive_); }

  testing::TemporaryFolder folder_;
  PosixProcessLauncher processes_;
  Path archive_ = folder_ / "BrindlewickUpdate.zip";
};

TEST_F(ArchiveListingWithZipinfo, acceptsTheArchiveOfAnHonestPublisher) {
  testing::writeFile(folder_ / "Brindlewick.app/Contents/MacOS/Brindlewick", "program", 0755);
  testing::writeFile(folder_ / "Brindlewick.app/Contents/Resources/caf\xc3\xa9 plan.txt", "text");
  run("/bin/sh", {"-c", "cd " + folder_.path().string() + " && zip -q -r -X BrindlewickUpdate.zip Brindlewick.app"});
  EXPECT_NO_THROW(check());
}

TEST_F(ArchiveListingWithZipinfo, refusesNamesOutsideTheBundle) {
  for (const char* name : {"Other.app/x", "../evil", "/Brindlewick.app/x", "Brindlewick.app/../x", "Brindlewick.app//x",
                           "__MACOSX/._Brindlewick.app", "._Brindlewick.app", "BrindlewickUpdate.zip", "receipt.json",
                           "Brindlewick.app/a\\\\b", "Brindlewick.appx/x"}) {
    make("entry('Brindlewick.app/', 0o40755)\nentry('" + std::string(name) + "', 0o100644)");
    EXPECT_THAT([&] { check(); }, fails(unsafeArchive)) << name;
  }
}

TEST_F(ArchiveListingWithZipinfo, judgesTypesByTheAttributesOfUnixEntries) {
  make(
      "entry('Brindlewick.app/', 0o41777)\nentry('Brindlewick.app/a', 0o104755)\nentry('Brindlewick.app/b', 0o102644)");
  EXPECT_NO_THROW(check());
  for (const char* mode : {"0o120777", "0o60644", "0o20644", "0o10644", "0o140644", "0o600"}) {
    make("entry('Brindlewick.app/', 0o40755)\nentry('Brindlewick.app/x', " + std::string(mode) + ", b'/etc')");
    EXPECT_THAT([&] { check(); }, fails(unsafeArchive)) << mode;
  }
}

TEST_F(ArchiveListingWithZipinfo, doesNotSeeLinksInEntriesOfOtherSystems) {
  // FAT, Amiga, VMS: their listing has no permission field. The expanded tree is where such links are found.
  for (const char* system : {"0", "1", "2"}) {
    make("entry('Brindlewick.app/x', 0o120777, b'/etc', " + std::string(system) + ")");
    EXPECT_NO_THROW(check()) << system;
  }
}

TEST_F(ArchiveListingWithZipinfo, doesNotSeeControlCharactersThatTheToolSpellsOut) {
  // "^I" and "^J" in the listing. The expander refuses such names.
  make("entry('Brindlewick.app/a\\tb', 0o100644)\nentry('Brindlewick.app/a\\nb', 0o100644)");
  EXPECT_NO_THROW(check());
}

TEST_F(ArchiveListingWithZipinfo, refusesNamesThatAreNotUTF8) {
  make("entry('Brindlewick.app/ABCD', 0o100644)");
  auto bytes = testing::readFile(archive_);
  for (auto at = bytes.find("ABCD"); at != bytes.npos; at = bytes.find("ABCD")) bytes.replace(at, 4, "caf\xe9");
  testing::writeFile(archive_, bytes);
  EXPECT_THAT([&] { check(); }, fails(unsafeArchive));
}

TEST_F(ArchiveListingWithZipinfo, refusesWhatIsNoArchiveOrAnEmptyOne) {
  make("pass");
  EXPECT_THAT([&] { check(); }, fails(invalidApplicationBundle));
  testing::writeFile(archive_, "no archive");
  EXPECT_THAT([&] { check(); }, fails(invalidApplicationBundle));
  archive_ = folder_ / "missing.zip";
  EXPECT_THAT([&] { check(); }, fails(invalidApplicationBundle));
}

TEST_F(ArchiveListingWithZipinfo, takesAnyPathAsItIs) {
  archive_ = folder_ / "-v $HOME 'quoted' \"* [a]/BrindlewickUpdate.zip";
  testing::writeFile(archive_, "");
  make("entry('Brindlewick.app/', 0o40755)");
  EXPECT_NO_THROW(check());
}

}  // namespace
}  // namespace brindlewick
