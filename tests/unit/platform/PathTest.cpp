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

TEST(Path, knowsWhatLiesDirectlyInAFolder) {
  EXPECT_TRUE(Path("/a/b").isDirectlyIn(Path("/a")));
  EXPECT_TRUE(Path("/a").isDirectlyIn(Path("/")));
  EXPECT_FALSE(Path("/a/b/c").isDirectlyIn(Path("/a")));
  EXPECT_FALSE(Path("/a").isDirectlyIn(Path("/a")));
  EXPECT_FALSE(Path("/").isDirectlyIn(Path("/"))) << "although it is its own parent";
}

TEST(Path, knowsWhatLiesBesideAnItem) {
  EXPECT_TRUE(Path("/a/b").isBeside(Path("/a/c")));
  EXPECT_TRUE(Path("/a").isBeside(Path("/b")));
  EXPECT_FALSE(Path("/a/b").isBeside(Path("/b/b")));
  EXPECT_FALSE(Path("/a").isBeside(Path("/"))) << "nothing lies beside the root";
  EXPECT_FALSE(Path("/").isBeside(Path("/a")));
  EXPECT_FALSE(Path("/").isBeside(Path("/")));
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
