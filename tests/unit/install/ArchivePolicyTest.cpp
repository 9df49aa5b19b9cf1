#include <gmock/gmock.h>

#include "install/UpdateArchiveAttributePolicy.h"
#include "install/UpdateArchiveEntryPolicy.h"
#include "install/UpdateInstallError.h"
#include "support/Fails.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;
using testing::fails;
using namespace std::string_view_literals;

TEST(UpdateArchiveEntryPolicy, acceptsWhatLiesInTheBundle) {
  EXPECT_NO_THROW(UpdateArchiveEntryPolicy::check(
      {"Brindlewick.app/", "Brindlewick.app/Contents/", "Brindlewick.app/Contents/Info.plist",
       "Brindlewick.app/Contents/.hidden", "Brindlewick.app/...", "Brindlewick.app/..a", "Brindlewick.app/a b",
       "Brindlewick.app/\xc3\xa9", "Brindlewick.app/Contents/._x"}));
  // A plain file of that name passes here; that it is no bundle shows later.
  EXPECT_NO_THROW(UpdateArchiveEntryPolicy::check({"Brindlewick.app"}));
}

TEST(UpdateArchiveEntryPolicy, refusesAnArchiveWithoutNames) {
  EXPECT_THAT([] { UpdateArchiveEntryPolicy::check({}); }, fails(unsafeArchive));
}

TEST(UpdateArchiveEntryPolicy, refusesEveryOtherName) {
  const std::string_view names[] = {
      "",
      "/",
      "//",
      "/Brindlewick.app/x",
      "Brindlewick.appx/file",
      "Brindlewick.ap",
      "brindlewick.app/x",
      "Other.app/",
      "__MACOSX/",
      "__MACOSX/Brindlewick.app/x",
      "._Brindlewick.app",
      "BrindlewickUpdate.zip",
      "receipt.json",
      "../Brindlewick.app/x",
      "./Brindlewick.app/x",
      "Brindlewick.app//",
      "Brindlewick.app//x",
      "Brindlewick.app/x//",
      "Brindlewick.app/.",
      "Brindlewick.app/./x",
      "Brindlewick.app/./",
      "Brindlewick.app/..",
      "Brindlewick.app/../x",
      "Brindlewick.app/x/..",
      "Brindlewick.app/x/../",
      "Brindlewick.app\\x",
      "Brindlewick.app/a\\b",
      "\\Brindlewick.app",
      "Brindlewick.app/a\tb",
      "Brindlewick.app/a\rb",
      "Brindlewick.app/a\x1f",
      "Brindlewick.app/a\x7f",
      "Brindlewick.app/a\0b"sv,
      " Brindlewick.app/x",
  };
  for (const auto name : names) {
    EXPECT_THAT([&] { UpdateArchiveEntryPolicy::check({name}); }, fails(unsafeArchive)) << name;
    EXPECT_THAT([&] { UpdateArchiveEntryPolicy::check({"Brindlewick.app/", name}); }, fails(unsafeArchive)) << name;
  }
}

TEST(UpdateArchiveAttributePolicy, acceptsDirectoriesAndFilesWhateverTheyPermit) {
  EXPECT_NO_THROW(UpdateArchiveAttributePolicy::check(
      "Archive:  x.zip\n"
      "Zip file size: 330 bytes, number of entries: 2\n"
      "drwxr-xr-x  3.0 unx        0 bx        0 stor 26-Nov-20 23:26 Brindlewick.app/\n"
      "-rwsr-xr-x  3.0 unx        0 tx        0 stor 26-Nov-20 23:26 Brindlewick.app/a\n"
      "drwxrwxrwt  3.0 unx\n"
      "-rwSr-xr-T  3.0 unx\n"
      "---------- \n"
      "   \n"
      "2 files, 0 bytes uncompressed, 0 bytes compressed:  0.0%\n"));
  EXPECT_NO_THROW(UpdateArchiveAttributePolicy::check(""));
}

TEST(UpdateArchiveAttributePolicy, refusesEveryOtherType) {
  for (const char* field : {"lrwxr-xr-x", "brw-r--r--", "crw-r--r--", "prw-r--r--", "srwxr-xr-x", "?rw-------",
                            "Drwxr-xr-x", "\xc3\xa9rwxr-xr-x", "rrwxr-xr-x"}) {
    EXPECT_THAT([&] { UpdateArchiveAttributePolicy::check(std::string(field) + " 3.0 unx"); }, fails(unsafeArchive))
        << field;
    EXPECT_THAT([&] { UpdateArchiveAttributePolicy::check("drwxr-xr-x a\n \t" + std::string(field)); },
                fails(unsafeArchive))
        << field;
  }
}

TEST(UpdateArchiveAttributePolicy, endsLinesWhereUnicodeEndsThem) {
  for (const char* lineBreak : {"\n", "\r\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"})
    EXPECT_THAT([&] { UpdateArchiveAttributePolicy::check("drwxr-xr-x a" + std::string(lineBreak) + "lrwxr-xr-x b"); },
                fails(unsafeArchive))
        << lineBreak;
}

TEST(UpdateArchiveAttributePolicy, partsFieldsWhereUnicodeHasWhiteSpace) {
  for (const char* blank : {" ", "\t", "\u00a0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
                            "\u2006", "\u2007", "\u2008", "\u2009", "\u200a", "\u202f", "\u205f", "\u3000"}) {
    EXPECT_THAT([&] { UpdateArchiveAttributePolicy::check(blank + std::string("lrwxr-xr-x") + blank + "3.0"); },
                fails(unsafeArchive))
        << blank;
    EXPECT_NO_THROW(UpdateArchiveAttributePolicy::check("a" + std::string(blank) + "lrwxr-xr-x")) << blank;
  }
  // Characters that begin with the same bytes, but are none of these.
  for (const char* other : {"\u00a1", "\u0084", "\u200b", "\u202a", "\u3001", "\u2060"})
    EXPECT_NO_THROW(UpdateArchiveAttributePolicy::check("a" + std::string(other) + "lrwxr-xr-x")) << other;
}

TEST(UpdateArchiveAttributePolicy, skipsLinesWithoutAPermissionField) {
  for (const char* line : {"lrwxr-xr-", "lrwxr-xr-xx", "lrwxr-xr-y", "lrwxr_xr-x", "RWED,RWED,RWED", "?hsparwed",
                           "-rw----     2.0 fat", "x lrwxr-xr-x", "\xc3\xa9\xc3\xa9rwxr-xr-", "l\xc3\xa9wxr-xr-x"})
    EXPECT_NO_THROW(UpdateArchiveAttributePolicy::check(line)) << line;
}

}  // namespace
}  // namespace brindlewick
