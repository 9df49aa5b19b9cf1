#include "install/ArchiveListing.h"

#include "install/ToolRunner.h"
#include "install/UpdateArchiveAttributePolicy.h"
#include "install/UpdateArchiveEntryPolicy.h"
#include "install/UpdateInstallError.h"
#include "platform/AsciiText.h"
#include "platform/UTF8.h"

namespace brindlewick {
namespace {

constexpr std::size_t maximumListingByteCount = 16'777'216;

Bytes list(ProcessLauncher& processes, const char* form, const Path& archive) {
  auto listing =
      ToolRunner::run(processes, Path("/usr/bin/zipinfo"), {form, archive.string()}, maximumListingByteCount);
  require(isUTF8(asText(listing)), UpdateInstallError::unsafeArchive);
  return listing;
}

}  // namespace

void ArchiveListing::check(ProcessLauncher& processes, const Path& archive) {
  {
    const auto listing = list(processes, "-1", archive);
    auto names = split(asText(listing), '\n');
    std::erase(names, std::string_view());
    UpdateArchiveEntryPolicy::check(names);
  }
  UpdateArchiveAttributePolicy::check(asText(list(processes, "-l", archive)));
}

}  // namespace brindlewick
