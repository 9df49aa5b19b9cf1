// Stands in for libFuzzer's main: runs the target once for each file of the folders given. Options are ignored. An
// empty folder fails: seeds that are not there test nothing.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  int seeds = 0;
  for (int i = 1; i < count; ++i) {
    if (std::string_view(arguments[i]).starts_with('-')) continue;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++seeds;
    }
  }
  std::cout << seeds << " seeds\n";
  return seeds > 0 ? 0 : 1;
}
