// Looks at the memory of this process through /proc, which is one of Linux.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>

#include "platform/TextCoding.h"
#include "platform/posix/PosixFileSystem.h"
#include "signing/PrivateKeyFile.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryFolder.h"

namespace brindlewick {
namespace {

constexpr std::size_t textSize = 44;

/// The base64 of a key whose every byte is changed, so that this test holds no copy of what it looks for.
std::string veiled() {
  auto text = encodeBase64(Bytes(32, 0x5A));
  for (char& c : text) c = static_cast<char>(c ^ 1);
  return text;
}

std::string unveiled(char c) { return std::string(1, static_cast<char>(c ^ 1)); }

void writeKey(const Path& path, std::string_view veiledText, const std::string& blanks) {
  testing::writeFile(path, blanks, 0600);
  std::ofstream stream(path.string(), std::ios::app);
  for (const char c : veiledText) stream << unveiled(c) << std::flush;
  stream << blanks;
}

/// How many times the text stands in the writable memory of this process.
int copiesInMemory(std::string_view veiledText) {
  std::ifstream maps("/proc/self/maps"), memory("/proc/self/mem", std::ios::binary);
  int copies = 0;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t first = 0, last = 0;
    char dash = 0;
    std::string mode;
    std::istringstream(line) >> std::hex >> first >> dash >> last >> mode;
    // What is larger is the shadow of a sanitizer, which holds no bytes of the program.
    if (!mode.starts_with("rw") || last - first > 1'073'741'824) continue;
    std::vector<char> bytes(last - first);
    memory.clear();
    memory.seekg(static_cast<std::streamoff>(first));
    memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    for (char& c : bytes) c = static_cast<char>(c ^ 1);
    const std::boyer_moore_horspool_searcher text(veiledText.begin(), veiledText.end());
    for (auto at = std::search(bytes.begin(), bytes.end(), text); at != bytes.end();
         at = std::search(at + 1, bytes.end(), text))
      ++copies;
    std::ranges::fill(bytes, '\0');
  }
  return copies;
}

/// Kibibytes of this process that are locked against swapping.
[[maybe_unused]] long lockedMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmLck:")) return std::stol(line.substr(6));
  return -1;
}

TEST(PrivateKeyFile, leavesNoCopyOfTheKeysTextInMemory) {
  const testing::TemporaryFolder folder;
  const auto text = veiled();
  ASSERT_EQ(text.size(), textSize);
  for (const std::size_t blankCount : {0U, 1000U, 1023U, 100'000U}) {
    writeKey(folder / "key", text, std::string(blankCount, '\n'));
    PosixFileSystem files;
    const auto key = PrivateKeyFile::read(files, folder / "key", ::geteuid());
    EXPECT_EQ(copiesInMemory(text), 0);
  }
  std::string planted;
  for (const char c : text) planted += unveiled(c);
  EXPECT_GT(copiesInMemory(text), 0) << "the search finds nothing at all: " << planted;
}

#ifndef __SANITIZE_ADDRESS__  // its library answers requests to lock memory without locking any
TEST(PrivateKeyFile, locksNoMoreMemoryThanAnyUserMay) {
  const testing::TemporaryFolder folder;
  writeKey(folder / "key", veiled(), std::string(500'000, ' '));
  PosixFileSystem files;
  testing::EventLog log(folder.path().string());
  testing::FaultyFileSystem watched(files, log);
  const auto before = lockedMemory();
  long during = 0;
  watched.runAfter("read", 1, [&] { during = lockedMemory() - before; });
  watched.runAfter("read", 100, [&] { during = std::max(during, lockedMemory() - before); });
  static_cast<void>(PrivateKeyFile::read(watched, folder / "key", ::geteuid()));
  EXPECT_GT(during, 0) << "what was read is not locked";
  EXPECT_LE(during, 32) << "of the 64 KiB that an ordinary user may lock";
}
#endif

}  // namespace
}  // namespace brindlewick
