#include <gmock/gmock.h>

#include "frontend/ApplyInstallCommand.h"
#include "frontend/ManifestSigningCommand.h"
#include "frontend/PrepareInstallCommand.h"
#include "frontend/UpdaterCommand.h"
#include "frontend/UpdaterCommandError.h"
#include "support/Fails.h"

namespace brindlewick {
namespace {

using enum UpdaterCommandError;
using testing::fails;
using List = std::vector<std::string>;

const List check{"check-and-stage",
                 "--feed-url",
                 "https://feed.test/m",
                 "--public-key",
                 "key",
                 "--app-identifier",
                 "com.b",
                 "--current-version",
                 "1.2.3",
                 "--current-build",
                 "+7",
                 "--staging-directory",
                 "/s/"};
const List sign{"sign-manifest",
                "--private-key-file",
                "/k",
                "--app-identifier",
                "com.b",
                "--version",
                "1.2.3",
                "--build",
                "7",
                "--minimum-system-version",
                "12.0",
                "--artifact-url",
                "https://h/a.zip",
                "--artifact-file",
                "/a.zip",
                "--output",
                "/m.json"};
const List prepare{"prepare-install",
                   "--public-key",
                   "key",
                   "--app-identifier",
                   "com.b",
                   "--current-version",
                   "1.2.3",
                   "--current-build",
                   "7",
                   "--staged-directory",
                   "/s/c/",
                   "--installed-app",
                   "/Applications/B.app/"};
const List apply{"apply-install",
                 "--public-key",
                 "key",
                 "--app-identifier",
                 "com.b",
                 "--current-version",
                 "1.2.3",
                 "--current-build",
                 "7",
                 "--staged-directory",
                 "/s/x/../c/",
                 "--preparation-directory",
                 "/s/c/./p/",
                 "--installed-app",
                 "/Applications/x/../B.app",
                 "--parent-pid",
                 "2",
                 "--result-file",
                 "/s//last-install-result.json"};

/// The list with the value of one option replaced.
List with(List list, std::string_view option, std::string value) {
  const auto found = std::ranges::find(list, option);
  EXPECT_NE(found, list.end()) << option;
  *(found + 1) = std::move(value);
  return list;
}

List without(List list, std::string_view option) {
  const auto found = std::ranges::find(list, option);
  list.erase(found, found + 2);
  return list;
}

template <typename Command>
void expectRefused(const List& list) {
  EXPECT_THAT([&] { static_cast<void>(Command::parse(list)); }, fails(invalidArguments))
      << ::testing::PrintToString(list);
}

/// What holds for every command: each option is needed, none more is allowed, and the word must be right.
template <typename Command>
void expectExactOptions(const List& good) {
  EXPECT_NO_THROW(static_cast<void>(Command::parse(good)));
  for (std::size_t i = 1; i < good.size(); i += 2) {
    expectRefused<Command>(without(good, good[i]));
    auto renamed = good;
    renamed[i] += "x";
    expectRefused<Command>(renamed);
    renamed[i] = good[i].substr(1);
    expectRefused<Command>(renamed);
  }
  auto longer = good;
  longer.insert(longer.end(), {"--unknown", "x"});
  expectRefused<Command>(longer);
  longer.pop_back();
  expectRefused<Command>(longer);
  expectRefused<Command>({});
  auto renamed = good;
  renamed[0] = "Check-and-stage";
  expectRefused<Command>(renamed);
  for (std::size_t i = 2; i < good.size(); i += 2) expectRefused<Command>(with(good, good[i - 1], "\xFF"));
}

TEST(UpdaterCommand, readsItsRecord) {
  const auto command = UpdaterCommand::parse(check);
  EXPECT_EQ(command,
            (UpdaterCommand{URL::parse("https://feed.test/m").value(), "key", "com.b", "1.2.3", 7, Path("/s")}));
}

TEST(ManifestSigningCommand, readsItsRecord) {
  EXPECT_EQ(ManifestSigningCommand::parse(sign),
            (ManifestSigningCommand{Path("/k"), "com.b", "1.2.3", 7, "12.0", URL::parse("https://h/a.zip").value(),
                                    Path("/a.zip"), Path("/m.json")}));
}

TEST(PrepareInstallCommand, readsItsRecord) {
  EXPECT_EQ(PrepareInstallCommand::parse(prepare),
            (PrepareInstallCommand{"key", "com.b", "1.2.3", 7, Path("/s/c"), Path("/Applications/B.app")}));
}

TEST(ApplyInstallCommand, readsItsRecordAndStandardizesAllButTheApplication) {
  EXPECT_EQ(ApplyInstallCommand::parse(apply),
            (ApplyInstallCommand{"key", "com.b", "1.2.3", 7, Path("/s/c"), Path("/s/c/p"),
                                 Path("/Applications/x/../B.app"), 2, Path("/s/last-install-result.json")}));
}

TEST(Commands, wantExactlyTheirOptions) {
  expectExactOptions<UpdaterCommand>(check);
  expectExactOptions<ManifestSigningCommand>(sign);
  expectExactOptions<PrepareInstallCommand>(prepare);
  expectExactOptions<ApplyInstallCommand>(apply);
}

TEST(Commands, treatARepeatedOptionDifferentlyOnPurpose) {
  auto repeated = check;
  repeated.insert(repeated.end(), {"--feed-url", "https://feed.test/second"});
  EXPECT_EQ(UpdaterCommand::parse(repeated).feedURL.string(), "https://feed.test/second");
  const auto twice = [](List list) {
    list.insert(list.end(), {list[1], list[2]});
    return list;
  };
  expectRefused<ManifestSigningCommand>(twice(sign));
  expectRefused<PrepareInstallCommand>(twice(prepare));
  expectRefused<ApplyInstallCommand>(twice(apply));
}

TEST(Commands, readNumbersExactly) {
  for (const auto& [text, value] :
       {std::pair("1", 1L), {"+7", 7L}, {"007", 7L}, {"9223372036854775807", 9223372036854775807L}})
    EXPECT_EQ(UpdaterCommand::parse(with(check, "--current-build", text)).currentBuild, value);
  for (const char* text : {"", "0", "-3", "-0", "1.0", " 7", "7 ", "0x7", "1e3", "--7", "+", "-", "+-7", "++7", "7\n",
                           "9223372036854775808", "-9223372036854775809", "\xD9\xA1"}) {
    expectRefused<UpdaterCommand>(with(check, "--current-build", text));
    expectRefused<ManifestSigningCommand>(with(sign, "--build", text));
  }
  EXPECT_EQ(ApplyInstallCommand::parse(with(apply, "--parent-pid", "2147483647")).parentProcessIdentifier, 2147483647);
  for (const char* text : {"1", "0", "-2", "2147483648", "4294967298", ""})
    expectRefused<ApplyInstallCommand>(with(apply, "--parent-pid", text));
}

TEST(Commands, takeForAValueWhateverFollowsAnOption) {
  for (const char* text : {"--", "--feed-url", "--app-identifier", "--current-version=1", "-", "check-and-stage"}) {
    EXPECT_EQ(UpdaterCommand::parse(with(check, "--app-identifier", text)).applicationIdentifier, text);
    EXPECT_EQ(ManifestSigningCommand::parse(with(sign, "--version", text)).version, text);
    EXPECT_EQ(PrepareInstallCommand::parse(with(prepare, "--public-key", text)).publicKeyBase64, text);
    EXPECT_EQ(ApplyInstallCommand::parse(with(apply, "--current-version", text)).currentVersion, text);
    expectRefused<UpdaterCommand>(with(check, "--staging-directory", text));
    expectRefused<UpdaterCommand>(with(check, "--current-build", text));
  }
}

TEST(Commands, wantAbsolutePathsAnIdentifierAndURLs) {
  for (const char* text : {"", "x", "./x", " /x"}) {
    expectRefused<UpdaterCommand>(with(check, "--staging-directory", text));
    for (const char* option : {"--private-key-file", "--artifact-file", "--output"})
      expectRefused<ManifestSigningCommand>(with(sign, option, text));
    for (const char* option : {"--staged-directory", "--installed-app"})
      expectRefused<PrepareInstallCommand>(with(prepare, option, text));
    for (const char* option : {"--staged-directory", "--preparation-directory", "--installed-app", "--result-file"})
      expectRefused<ApplyInstallCommand>(with(apply, option, text));
  }
  expectRefused<UpdaterCommand>(with(check, "--app-identifier", ""));
  expectRefused<UpdaterCommand>(with(check, "--feed-url", ""));
  expectRefused<UpdaterCommand>(with(check, "--feed-url", "https://a b/"));
  EXPECT_EQ(UpdaterCommand::parse(with(check, "--feed-url", "http://h/")).feedURL.scheme(), "http");
  for (const char* option : {"--public-key", "--current-version"})
    EXPECT_NO_THROW(static_cast<void>(UpdaterCommand::parse(with(check, option, ""))));
}

TEST(ApplyInstallCommand, tiesThePlacesTogether) {
  for (const auto& [option, text] : {std::pair("--preparation-directory", "/s/p"),
                                     {"--preparation-directory", "/s/c"},
                                     {"--preparation-directory", "/s/c/p/q"},
                                     {"--preparation-directory", "/s/c/p/.."},
                                     {"--result-file", "/s/other.json"},
                                     {"--result-file", "/s/c/last-install-result.json"},
                                     {"--result-file", "/last-install-result.json"},
                                     {"--staged-directory", "/t/c"}})
    expectRefused<ApplyInstallCommand>(with(apply, option, text));
}

TEST(UpdaterCommandErrorSentence, isTheFixedOne) {
  EXPECT_EQ(describe(invalidArguments), "The updater was invoked with an invalid configuration.");
}

}  // namespace
}  // namespace brindlewick
