#include "frontend/InstallResultRecord.h"

#include "platform/PlatformError.h"
#include "trust/CanonicalJSON.h"

namespace brindlewick {
namespace {

double secondsSince2001(std::chrono::system_clock::time_point date) {
  using namespace std::chrono;
  constexpr sys_days start = 2001y / January / 1;
  return duration<double>(date - start).count();
}

}  // namespace

std::optional<Bytes> InstallResultRecord::encode() const {
  CanonicalJSON::Members members{
      {"succeeded", succeeded}, {"message", message}, {"completedAt", secondsSince2001(completedAt)}};
  if (version) members.emplace_back("version", *version);
  if (build) members.emplace_back("build", *build);
  return CanonicalJSON::encode(members);
}

void InstallResultRecord::write(FileSystem& files, const Path& resultFile) const {
  files.createDirectories(resultFile.parent(), 0700);
  const auto content = encode();
  if (!content) throw PlatformError("encode", "the result", std::make_error_code(std::errc::illegal_byte_sequence));
  files.writeAtomically(resultFile, *content, 0600);
}

}  // namespace brindlewick
