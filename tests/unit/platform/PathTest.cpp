#include "platform/Path.h"

#include <gtest/gtest.h>

namespace brindlewick {
namespace {

TEST(Path, dropsTrailingSlashesButKeepsTheRoot) {
  EXPECT_EQ(Path("/a/b/").string(), "/a/b");
  EXPECT_EQ(Path("/a/b///").string(), "/a/b");
  EXPECT_EQ(Path("/").string(), "/");
  EXPECT_EQ(Path("///").string(), "/");
}

TEST(Path, joinsAndTakesApart) {
  EXPECT_EQ((Path("/a") / "b").string(), "/a/b");
  EXPECT_EQ((Path("/") / "b").string(), "/b");
  EXPECT_EQ(Path("/a/b").parent(), Path("/a"));
  EXPECT_EQ(Path("/a").parent(), Path("/"));
  EXPECT_EQ(Path("/").parent(), Path("/"));
  EXPECT_EQ(Path("/a/b.app/").lastComponent(), "b.app");
}

TEST(Path, readsTheExtensionOfTheLastComponent) {
  EXPECT_EQ(Path("/a.x/b.app").extension(), "app");
  EXPECT_EQ(Path("/a.x/b").extension(), "");
  EXPECT_EQ(Path("/.app").extension(), "");
  EXPECT_EQ(Path("/a.").extension(), "");
  EXPECT_EQ(Path("/a.tar.gz").extension(), "gz");
}

TEST(Path, standardizesInTheTextAlone) {
  EXPECT_EQ(Path("/a/./b").standardized(), Path("/a/b"));
  EXPECT_EQ(Path("/a/x/../b").standardized(), Path("/a/b"));
  EXPECT_EQ(Path("/a//b/").standardized(), Path("/a/b"));
  EXPECT_EQ(Path("/../a").standardized(), Path("/a"));
  EXPECT_EQ(Path("/a/../..").standardized(), Path("/"));
  EXPECT_EQ(Path("/a/b/.").standardized(), Path("/a/b"));
  EXPECT_EQ(Path("/a/...").standardized(), Path("/a/..."));
}

}  // namespace
}  // namespace brindlewick
