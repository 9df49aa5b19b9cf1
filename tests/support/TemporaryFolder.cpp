#include "support/TemporaryFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

namespace brindlewick::testing {
namespace fs = std::filesystem;

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

std::string listing(const Path& folder) {
  std::set<std::string> lines;
  for (const auto& entry : fs::recursive_directory_iterator(folder.string())) {
    const auto status = entry.symlink_status();
    std::ostringstream line;
    line << fs::relative(entry.path().parent_path(), folder.string()).string() << "/"
         << entry.path().filename().string();
    if (status.type() == fs::file_type::symlink) {
      line << " link " << fs::read_symlink(entry.path()).string();
    } else {
      line << (status.type() == fs::file_type::directory ? " directory " : " file ") << std::oct
           << (static_cast<unsigned>(status.permissions()) & 07777U) << std::dec;
      if (status.type() == fs::file_type::regular) line << " " << entry.file_size();
    }
    lines.insert(line.str());
  }
  std::string text;
  for (const auto& line : lines) text += line + "\n";
  return text;
}

}  // namespace brindlewick::testing
