// Runs one task of the program's HTTPS session with the limits of time given on the command line, so that tests need
// not wait for half a minute: session-probe data|download URL IDLE-MS ANSWER-MS WHOLE-MS FOLDER

#include <iostream>

#include "platform/PlatformError.h"
#include "platform/linux/CurlHTTPSSession.h"
#include "platform/posix/PosixFileSystem.h"
#include "retrieval/HTTPSCappedDownloadDelegate.h"
#include "retrieval/HTTPSOnlySessionDelegate.h"

using namespace brindlewick;

int main(int count, char** arguments) {
  if (count != 7) return 2;
  const auto milliseconds = [&](int i) { return std::chrono::milliseconds(std::stol(arguments[i])); };
  PosixFileSystem files;
  CurlHTTPSSession session(files, std::make_shared<HTTPSOnlySessionDelegate>(), Path(arguments[6]),
                           {.timeouts = {.idle = milliseconds(3), .whole = milliseconds(5)}});
  const HTTPSRequest request{
      .url = URL::parse(arguments[2]).value(), .accept = "application/json", .timeout = milliseconds(4)};
  try {
    if (std::string_view(arguments[1]) == "data") {
      const auto result = session.data(request, 1'048'576);
      std::cout << result.response.status << " " << result.body.size() << "\n";
    } else {
      HTTPSCappedDownloadDelegate delegate;
      const auto result = session.download(request, 536'870'912, delegate);
      std::cout << result.response.status << " " << files.attributes(result.file)->byteCount << "\n";
      files.removeTree(result.file.parent());
    }
    return 0;
  } catch (const PlatformError& error) {
    std::cout << error.code().category().name() << " " << error.code().message() << "\n";
    return 1;
  }
}
