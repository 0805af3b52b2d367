#include "xy_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

TEST(XYReader, SplitsBlocksAndKeepsTheirAttributes) {
  std::istringstream in(
      "# source: somewhere\n"
      "# id=7 part=0 ring=outer name=Isle of Man\n"
      "0 0\n1 0\n1 1\n0 0\n"
      "\n"
      "# id=7 part=0 ring=hole\n"
      "0.25 0.25\n-1.5e3 2\n"
      "\n\n");
  auto const blocks = kmath_test::ReadXY(in);
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].pts.size(), 4u);
  EXPECT_TRUE(blocks[0].IsClosed());
  EXPECT_EQ(blocks[0].Attr("name"), "Isle of Man");
  EXPECT_EQ(blocks[0].Attr("ring"), "outer");
  EXPECT_EQ(blocks[1].Attr("ring"), "hole");
  EXPECT_EQ(blocks[1].Attr("kind", "none"), "none");
  EXPECT_FALSE(blocks[1].IsClosed());
  EXPECT_DOUBLE_EQ(blocks[1].pts[1].x, -1500.0);
}

TEST(XYReader, RejectsMalformedVertexLines) {
  for (char const* bad : {"1\n", "1 2 3\n", "x y\n", "nan 1\n"}) {
    SCOPED_TRACE(bad);
    std::istringstream in(bad);
    EXPECT_THROW(kmath_test::ReadXY(in), std::runtime_error);
  }
}

TEST(XYReader, ReadsTheBundledDataWithTheCountsItsHeaderStates) {
  // The horse chain file says "blocks: 2, vertices: 2070" in its header.
  auto const blocks = kmath_test::LoadXY("horse_chain.xy");
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].pts.size() + blocks[1].pts.size(), 2070u);
  for (auto const& b : blocks) EXPECT_TRUE(b.IsClosed());
  EXPECT_THROW(kmath_test::LoadXY("no_such_file.xy"), std::runtime_error);
}

}  // namespace
