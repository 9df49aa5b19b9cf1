// The one use of ditto that an updater makes: `ditto -x -k ARCHIVE DIRECTORY` expands a zip archive.

#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>

#include "ArchiveFile.h"
#include "Expander.h"

namespace {

volatile std::sig_atomic_t interrupted = 0;

/// Lets the run end like one with an error, which removes what it has created.
void interruptOnSignals() {
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    sigaction(number, &action, nullptr);
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  using std::string_view;
  if (argumentCount != 5 || string_view(arguments[1]) != "-x" || string_view(arguments[2]) != "-k" ||
      string_view(arguments[3]).empty() || string_view(arguments[4]).empty()) {
    std::fputs("usage: ditto -x -k ARCHIVE DIRECTORY\n", stderr);
    return 2;
  }
  // libarchive converts names by the locale; this one loses nothing.
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
    std::fputs("ditto: the C.UTF-8 locale is missing\n", stderr);
    return 1;
  }
  interruptOnSignals();
  try {
    const brindlewick::ditto::ArchiveFile archive(arguments[3]);
    brindlewick::ditto::expand(archive, arguments[4], [] { return interrupted != 0; });
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ditto: %s: %s\n", arguments[3], error.what());
    return 1;
  }
  return 0;
}
