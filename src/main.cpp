#include <string>
#include <vector>

#include "frontend/BrindlewickUpdaterMain.h"
#include "platform/Platform.h"

int main(int argumentCount, char** arguments) {
  const auto platform = brindlewick::makePlatform();
  // Without the program's own path; an empty vector has not even that.
  const std::vector<std::string> list(arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount);
  return brindlewick::BrindlewickUpdaterMain::run(platform, list);
}
