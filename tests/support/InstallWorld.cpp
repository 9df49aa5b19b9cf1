#include "support/InstallWorld.h"

#include <filesystem>

#include "platform/Failure.h"
#include "platform/PlatformError.h"
#include "staging/ArtifactHasher.h"
#include "staging/VerifiedArtifactStager.h"
#include "support/SignedFeed.h"

namespace brindlewick::testing {

TestBundle::TestBundle(const std::string& version, int build)
    : properties{{"CFBundleIdentifier", "string " + std::string(applicationIdentifier)},
                 {"CFBundleShortVersionString", "string " + version},
                 {"CFBundleVersion", "string " + std::to_string(build)},
                 {"CFBundlePackageType", "string APPL"},
                 {"CFBundleExecutable", "string Brindlewick"}} {}

void TestBundle::write(const Path& bundle) const {
  std::string list;
  for (const auto& [name, value] : properties) list += name + " " + value + "\n";
  writeFile(bundle / "Contents/Info.plist", list);
  writeFile(bundle / "Contents/_CodeSignature/CodeResources", seal);
  writeFile(bundle / "Contents/MacOS" / executable, architectures, 0755);
}

InstallWorld::InstallWorld() {
  TestBundle("2.3.0", 100).write(installed);
  stage();
  scriptTools();
  processes.ended = [](std::int32_t) { return true; };
}

void InstallWorld::stage() {
  const auto download = folder / "download";
  writeFile(download, "archive", 0600);
  auto manifest = validManifest();
  manifest.artifactSHA256 = ArtifactHasher::sha256Hex(disk, download);
  staged = VerifiedArtifactStager::stage(disk, download, validated(manifest), folder / "staging").artifactURL.parent();
}

void InstallWorld::scriptTools() {
  processes.script("/usr/bin/zipinfo", [this](const std::vector<std::string>& arguments) {
    return printed(arguments.at(0) == "-1" ? names : attributes);
  });
  processes.script("/usr/bin/ditto", [this](const std::vector<std::string>& arguments) {
    const Path directory(arguments.at(3));
    update.write(directory / "Brindlewick.app");
    afterExpansion(directory);
    return printed("");
  });
  processes.script("/usr/bin/lipo", [](const std::vector<std::string>& arguments) {
    const Path executable(arguments.at(1));
    return exists(executable) ? printed(readFile(executable) + "\n") : failedRun();
  });
  processes.script("/usr/sbin/spctl", [](const std::vector<std::string>&) { return printed(""); });
}

InstallRequest InstallWorld::request() const {
  static const auto key = publicKeyBase64();
  return {.installedApplication = installed,
          .stagedDirectory = staged,
          .publicKeyBase64 = key,
          .running = {.identifier = applicationIdentifier, .version = runningVersion, .build = 100}};
}

PreparedUpdate InstallWorld::prepare() {
  auto update = UpdateInstaller::prepare(tools(), request());
  preparation = update.directoryURL;
  return update;
}

InstallWorld& InstallWorld::prepared() {
  FaultyFileSystem untouched(disk, log);
  preparation = UpdateInstaller::prepare({untouched, propertyLists, codeSigning, processes}, request()).directoryURL;
  log.clear();
  return *this;
}

void InstallWorld::apply() { UpdateInstaller::apply(tools(), clock, request(), preparation, parent); }

std::string InstallWorld::installedVersion() const {
  if (!exists(installed)) return "none";
  const auto list = readFile(installed / "Contents/Info.plist");
  const std::string_view key = "CFBundleShortVersionString string ";
  const auto start = list.find(key) + key.size();
  return list.substr(start, list.find('\n', start) - start);
}

std::string InstallWorld::leftovers() const {
  EventLog found(folder.path().string());
  for (const auto& item : std::filesystem::directory_iterator(installed.parent().string()))
    if (item.path() != installed.string()) found.add(item.path().filename().string());
  std::string text;
  for (const auto& name : found.events()) text += (text.empty() ? "" : " ") + name;
  return text;
}

std::vector<std::string> InstallWorld::preparationDirectories() {
  auto names = disk.list(staged);
  std::erase_if(names, [](const std::string& name) { return !name.starts_with("InstallPreparation-"); });
  return names;
}

void InstallWorld::editReceipt(const std::function<void(InstallPreparationReceipt&)>& edit) {
  const auto file = preparation / InstallPreparationReceipt::fileName;
  auto receipt = InstallPreparationReceipt::decode(asBytes(readFile(file))).value();
  edit(receipt);
  writeFile(file, asText(receipt.encode().value()), 0600);
}

std::string errorOf(const std::function<void()>& call) {
  try {
    call();
    return "";
  } catch (const DescribedError& error) {
    return std::string(error.description());
  } catch (const PlatformError& error) {
    return "system: " + error.code().message();
  }
}

}  // namespace brindlewick::testing
