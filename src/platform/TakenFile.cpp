#include "platform/TakenFile.h"

#include "platform/PlatformError.h"

namespace brindlewick {
namespace {

void discard(FileSystem& files, const Path& folder) {
  try {
    files.removeTree(folder);
  } catch (const PlatformError&) {
    // The first error is the one that matters.
  }
}

}  // namespace

Path takeFile(FileSystem& files, const Path& owned, const Path& destination) {
  const auto folder = files.createTemporaryDirectory(destination);
  const auto file = folder / "download";
  try {
    files.move(owned, file);
    files.setPermissions(file, 0600);
  } catch (...) {
    discard(files, folder);
    throw;
  }
  return file;
}

}  // namespace brindlewick
