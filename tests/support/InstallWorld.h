#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "install/InstallPreparationReceipt.h"
#include "install/UpdateInstaller.h"
#include "platform/posix/PosixFileSystem.h"
#include "support/EventLog.h"
#include "support/FakeCodeSigning.h"
#include "support/FakePropertyLists.h"
#include "support/FaultyFileSystem.h"
#include "support/ManualClock.h"
#include "support/ScriptedProcessLauncher.h"
#include "support/TemporaryFolder.h"

namespace brindlewick::testing {

/// An application on disk, in the form that the doubles read. Valid unless a test changes it.
struct TestBundle {
  std::map<std::string, std::string> properties;
  /// See FakeCodeSigning.
  std::string seal = "valid developerID team TEAM123456";
  std::string executable = "Brindlewick";
  /// What lipo prints.
  std::string architectures = "x86_64 arm64";

  TestBundle(const std::string& version, int build);
  void write(const Path& bundle) const;
};

/// An installed application of version 2.3.0 (100), an update to 2.4.0 (118) that is staged beside it, and the system
/// that both run on: real files, scripted tools.
class InstallWorld {
 public:
  InstallWorld();

  /// The whole of both operations, with what the members below say.
  PreparedUpdate prepare();
  void apply();

  /// Prepares, and forgets the events of it.
  InstallWorld& prepared();

  [[nodiscard]] InspectionTools tools() { return {files, propertyLists, codeSigning, processes}; }
  [[nodiscard]] InstallRequest request() const;

  /// "2.3.0", "2.4.0" or "none".
  [[nodiscard]] std::string installedVersion() const;
  /// What lies beside the installed application, UUIDs written as "UUID"; empty when nothing does.
  [[nodiscard]] std::string leftovers() const;
  /// The names of the preparation directories.
  [[nodiscard]] std::vector<std::string> preparationDirectories();
  /// Everything on disk.
  [[nodiscard]] std::string everything() const { return listing(folder.path()); }
  void editReceipt(const std::function<void(InstallPreparationReceipt&)>& edit);

  TemporaryFolder folder;
  EventLog log{folder.path().string()};
  PosixFileSystem disk;
  FaultyFileSystem files{disk, log};
  ScriptedProcessLauncher processes{log};
  FakeCodeSigning codeSigning{log};
  FakePropertyLists propertyLists;
  ManualClock clock;

  Path installed = folder / "Applications/Brindlewick.app";
  Path staged;
  Path preparation;
  std::string runningVersion = "2.3.0";
  ParentProcess parent{.identifier = 4711, .waitsForParent = true, .relaunchesWhenDone = false};

  /// What zipinfo prints and ditto makes of the archive.
  std::string names = "Brindlewick.app/\nBrindlewick.app/Contents/Info.plist\n";
  std::string attributes = "drwxr-xr-x  3.0 unx\n-rw-r--r--  3.0 unx\n";
  TestBundle update{"2.4.0", 118};
  std::function<void(const Path& preparation)> afterExpansion = [](const Path&) {};

 private:
  void stage();
  void scriptTools();
};

/// The sentence of what a call throws, "system: ..." for an error without one, empty when it throws nothing.
[[nodiscard]] std::string errorOf(const std::function<void()>& call);

}  // namespace brindlewick::testing
