#include <gmock/gmock.h>

#include <sstream>

#include "frontend/ApplyInstallCommand.h"
#include "frontend/UpdaterCommandError.h"
#include "platform/Failure.h"

namespace brindlewick {
namespace {

using Components = std::vector<std::string>;

/// An independent reading of a path: what is left of its components when "." and ".." are gone.
Components componentsOf(const std::string& text) {
  Components kept;
  std::istringstream rest(text);
  for (std::string component; std::getline(rest, component, '/');) {
    if (component.empty() || component == ".") continue;
    if (component != "..") {
      kept.push_back(component);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }
  return kept;
}

bool liesDirectlyIn(Components item, const Components& folder) {
  if (item.empty()) return false;
  item.pop_back();
  return item == folder;
}

/// The result file lies beside the staged directory, so there is a folder that holds both.
bool belongTogether(const std::string& staged, const std::string& preparation, const std::string& result) {
  const auto directory = componentsOf(staged);
  const auto file = componentsOf(result);
  if (file.empty() || directory.empty() || file.back() != "last-install-result.json") return false;
  return liesDirectlyIn(componentsOf(preparation), directory) &&
         liesDirectlyIn(file, Components(directory.begin(), directory.end() - 1));
}

bool isAccepted(const std::string& staged, const std::string& preparation, const std::string& result) {
  const std::vector<std::string> list{"apply-install",
                                      "--public-key",
                                      "key",
                                      "--app-identifier",
                                      "com.b",
                                      "--current-version",
                                      "1.2.3",
                                      "--current-build",
                                      "7",
                                      "--staged-directory",
                                      staged,
                                      "--preparation-directory",
                                      preparation,
                                      "--installed-app",
                                      "/Applications/B.app",
                                      "--parent-pid",
                                      "77",
                                      "--result-file",
                                      result};
  try {
    static_cast<void>(ApplyInstallCommand::parse(list));
    return true;
  } catch (const Failure<UpdaterCommandError>&) {
    return false;
  }
}

/// The root and every path of up to three of these components.
std::vector<std::string> everyPath(const Components& alphabet) {
  std::vector<std::string> found{""};
  for (std::size_t begin = 0, length = 0; length < 3; ++length) {
    const auto end = found.size();
    for (; begin < end; ++begin)
      for (const auto& component : alphabet) found.push_back(found[begin] + "/" + component);
  }
  found.front() = "/";
  return found;
}

TEST(InstallationPlaces, areAcceptedExactlyWhenTheyBelongTogether) {
  const auto directories = everyPath({"s", "c", ".."});
  const auto results = everyPath({"s", "last-install-result.json", ".."});
  std::size_t accepted = 0;
  for (const auto& staged : directories)
    for (const auto& preparation : directories)
      for (const auto& result : results) {
        const bool expected = belongTogether(staged, preparation, result);
        ASSERT_EQ(isAccepted(staged, preparation, result), expected) << staged << " " << preparation << " " << result;
        accepted += expected ? 1 : 0;
      }
  EXPECT_GT(accepted, 100U);
}

TEST(InstallationPlaces, areNeverTheRootItself) {
  const std::string result = "/last-install-result.json";
  EXPECT_TRUE(isAccepted("/s", "/s/c", result));
  EXPECT_FALSE(isAccepted("/", "/", result));
  EXPECT_FALSE(isAccepted("/", "/c", result)) << "nothing lies beside the root";
  EXPECT_FALSE(isAccepted("/s/..", "/c/", result));
  EXPECT_FALSE(isAccepted("/s", "/", result));
}

}  // namespace
}  // namespace brindlewick
