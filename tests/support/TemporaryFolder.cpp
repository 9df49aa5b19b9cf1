#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

#include "platform/Digest.h"
#include "platform/TextCoding.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/FileCopy.h"

namespace brindlewick::testing {
namespace {

namespace fs = std::filesystem;

std::string digestOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return "unreadable";
  const std::string content{std::istreambuf_iterator<char>(stream), {}};
  SHA256 digest;
  digest.update(asBytes(content));
  return encodeHex(digest.finish());
}

std::string describeItem(const fs::path& item) {
  struct stat status {};
  if (::lstat(item.c_str(), &status) != 0) throw std::runtime_error("cannot examine " + item.string());
  if (S_ISLNK(status.st_mode)) return "link " + fs::read_symlink(item).string();
  std::ostringstream line;
  line << (S_ISDIR(status.st_mode)   ? "directory "
           : S_ISREG(status.st_mode) ? "file "
                                     : "other ")
       << std::oct << (status.st_mode & 07777U) << std::dec;
  if (S_ISREG(status.st_mode)) {
    const auto changed = posix::modificationTime(status);
    line << " " << status.st_size << " " << changed.tv_sec << "," << changed.tv_nsec << " " << digestOf(item);
  }
  return line.str();
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  // Not /tmp: there it could be a RAM disk, and some of what is tested differs on those.
  std::string pattern = "/var/tmp/brindlewick-test.XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = Path(pattern);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_.string(), ignored);
}

void writeFile(const Path& path, std::string_view content, unsigned permissions) {
  fs::create_directories(path.parent().string());
  std::ofstream(path.string(), std::ios::binary) << content;
  fs::permissions(path.string(), static_cast<fs::perms>(permissions));
}

std::string readFile(const Path& path) {
  std::ifstream stream(path.string(), std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool exists(const Path& path) { return fs::symlink_status(path.string()).type() != fs::file_type::not_found; }

unsigned permissionsOf(const Path& path) {
  return static_cast<unsigned>(fs::symlink_status(path.string()).permissions()) & 07777U;
}

void nestFolders(const Path& root, int levels) {
  fs::create_directory(root.string());
  // One by one, since no path is long enough for a deep tree.
  Descriptor level(::open(root.c_str(), O_RDONLY | O_DIRECTORY));
  for (int depth = 0; depth < levels; ++depth) {
    const Descriptor file(::openat(level.get(), "file", O_WRONLY | O_CREAT, 0644));
    if (::write(file.get(), "x", 1) != 1 || ::mkdirat(level.get(), "d", 0755) != 0)
      throw std::runtime_error("no deep tree");
    level = Descriptor(::openat(level.get(), "d", O_RDONLY | O_DIRECTORY));
  }
}

std::string listing(const Path& folder) {
  const fs::path root = folder.string();
  if (!exists(folder)) return "nothing\n";
  std::set<std::string> lines{". " + describeItem(root)};
  if (fs::is_directory(fs::symlink_status(root)))
    for (const auto& entry : fs::recursive_directory_iterator(root))
      lines.insert(entry.path().lexically_relative(root).string() + " " + describeItem(entry.path()));
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  return text;
}

}  // namespace brindlewick::testing
