// The one use of lipo that an updater makes: `lipo -archs FILE` prints the architectures of a file on one line.

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>

#include "FileArchitectures.h"
#include "InputFile.h"
#include "Refusal.h"

namespace {

int fail(const char* file, const char* reason) {
  std::fprintf(stderr, "lipo: %s: %s\n", file, reason);
  return 1;
}

std::string lineOf(const std::vector<brindlewick::lipo::Architecture>& architectures) {
  std::string line;
  for (const auto architecture : architectures) line += (line.empty() ? "" : " ") + nameOf(architecture);
  return line + "\n";
}

int printArchitectures(const char* path) {
  const brindlewick::lipo::InputFile file(path);
  const std::string line = lineOf(architecturesOf(file));
  if (std::fputs(line.c_str(), stdout) == EOF || std::fflush(stdout) == EOF)
    return fail(path, "can't write the architectures");
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 3 || std::string_view(arguments[1]) != "-archs" || std::string_view(arguments[2]).empty() ||
      std::string_view(arguments[2]).starts_with('-')) {
    std::fputs("usage: lipo -archs FILE\n", stderr);
    return 2;
  }
  try {
    return printArchitectures(arguments[2]);
  } catch (const std::system_error& error) {
    return fail(arguments[2], error.code().message().c_str());
  } catch (const std::exception& error) {
    return fail(arguments[2], error.what());
  }
}
