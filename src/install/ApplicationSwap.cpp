#include "install/ApplicationSwap.h"

#include "install/UpdateInstallError.h"
#include "platform/PlatformError.h"
#include "platform/TextCoding.h"

namespace brindlewick {
namespace {

using enum UpdateInstallError;

/// For clean-up and putting back: there is nothing better to do about its failure than to go on. Returns whether the
/// step succeeded.
template <typename Step>
bool attempt(Step step) noexcept {
  try {
    step();
    return true;
  } catch (...) {
    return false;
  }
}

/// One swap, with the places that it uses.
class Swap {
 public:
  Swap(const InspectionTools& tools, const Path& installed, const ExpectedApplication& expected)
      : Swap(tools, installed, expected, randomUUID()) {}

  void run(const Path& candidate) {
    try {
      files_.copyTree(candidate, incoming_);
      verify(incoming_);
      // From here to the end of the second move a power cut must find a whole application on disk.
      files_.sync(incoming_, Extent::tree);
      files_.move(installed_, backup_);
      takePlaceOrPutBack();
    } catch (const Failure<UpdateInstallError>&) {
      discardIncomingAndBackup();
      throw;
    } catch (...) {
      putBackIfNothingIsInstalled();
      discardIncomingAndBackup();
      throw Failure(replacementFailed);
    }
    // The names first, then the backup goes: a power cut in between must not lose both applications.
    attempt([&] { files_.sync(installed_.parent(), Extent::item); });
    discardIncomingAndBackup();
  }

 private:
  Swap(const InspectionTools& tools, const Path& installed, const ExpectedApplication& expected,
       const std::string& uuid)
      : tools_(tools),
        files_(tools.files),
        expected_(expected),
        installed_(installed),
        incoming_(installed.parent() / (".Brindlewick.incoming." + uuid + ".app")),
        backup_(installed.parent() / (".Brindlewick.backup." + uuid + ".app")) {}

  void verify(const Path& bundle) { static_cast<void>(ApplicationIdentity::verify(tools_, bundle, expected_)); }

  void takePlaceOrPutBack() {
    try {
      files_.move(incoming_, installed_);
      verify(installed_);
    } catch (...) {
      putBack();
      // The names first here too: what was refused is removed next.
      attempt([&] { files_.sync(installed_.parent(), Extent::item); });
      throw Failure(replacementFailed);
    }
  }

  /// By one exchange of names, so that an application is in its place at every moment and nothing has to be removed
  /// before; what was refused is then the backup and goes with it. Step by step where nothing can be exchanged, or
  /// nothing stands in the place.
  void putBack() noexcept {
    const auto old = identityOf(backup_);
    if (attempt([&] { files_.exchange(backup_, installed_); })) return;
    // A failure is not believed: if the names were exchanged all the same, the steps would remove the old application.
    // Both names are asked: not every file system tells its items apart.
    if (old && identityOf(installed_) == old && identityOf(backup_) != old) return;
    // Out of the way by a rename, which needs nothing opened. The incoming name is free unless the second move failed.
    if (!attempt([&] { files_.move(installed_, incoming_); })) attempt([&] { files_.removeTree(installed_); });
    attempt([&] { files_.move(backup_, installed_); });
  }

  [[nodiscard]] std::optional<FileAttributes::Identity> identityOf(const Path& path) const noexcept {
    std::optional<FileAttributes::Identity> identity;
    attempt([&] {
      if (const auto attributes = files_.attributes(path)) identity = attributes->identity;
    });
    return identity;
  }

  void putBackIfNothingIsInstalled() noexcept {
    attempt([&] {
      if (!files_.attributes(installed_) && files_.attributes(backup_)) files_.move(backup_, installed_);
    });
  }

  /// The backup goes in every case, even when it could not be put back. Deliberate: no run leaves a second copy of the
  /// application behind. What guards it is that there are two ways of putting it back, or where names cannot be
  /// exchanged two of clearing the place, and one failing call cannot close both.
  void discardIncomingAndBackup() noexcept {
    attempt([&] { files_.removeTree(incoming_); });
    attempt([&] { files_.removeTree(backup_); });
  }

  const InspectionTools& tools_;
  FileSystem& files_;
  const ExpectedApplication& expected_;
  Path installed_;
  Path incoming_;
  Path backup_;
};

bool isWritable(FileSystem& files, const Path& directory) {
  try {
    return files.isWritable(directory);
  } catch (const PlatformError& error) {
    if (error.isInterruption()) throw;
    return false;
  }
}

}  // namespace

void ApplicationSwap::replace(const InspectionTools& tools, const Path& installed, const Path& candidate,
                              const ExpectedApplication& expected) {
  require(isWritable(tools.files, installed.parent()), destinationNotWritable);
  const auto shield = tools.processes.shieldFromSignals();
  Swap(tools, installed, expected).run(candidate);
}

}  // namespace brindlewick
