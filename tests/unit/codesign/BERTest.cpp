#include "platform/linux/codesign/BER.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/linux/codesign/Refusal.h"
#include "support/codesign/ByteWriter.h"
#include "support/codesign/DER.h"

namespace brindlewick::codesign {
namespace {

using testing::append;
using testing::der::Length;

std::string brokenRule(const Bytes& bytes) {
  try {
    ber::Reader(bytes).next();
    return "";
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
}

/// This many sequences of indefinite length inside each other.
Bytes nested(std::size_t depth) {
  Bytes bytes;
  for (std::size_t i = 0; i < depth; ++i) append(bytes, Bytes{0x30, 0x80});
  bytes.resize(bytes.size() + 2 * depth);
  return bytes;
}

TEST(BERReader, readsOneElementAfterTheOther) {
  const Bytes bytes = {0x02, 0x01, 0x07, 0x04, 0x00, 0x30, 0x03, 0x02, 0x01, 0x08};
  ber::Reader reader(bytes);
  EXPECT_EQ(reader.next().tag, 0x02);
  EXPECT_TRUE(reader.next(ber::octetString).content.empty());
  const ber::Element sequence = reader.next(ber::sequence);
  EXPECT_TRUE(reader.isAtEnd());
  EXPECT_EQ(sequence.encoding.size(), 5U);
  EXPECT_EQ(ber::only(sequence.content, 0x02).content[0], 0x08);
}

TEST(BERReader, readsEachFormOfALength) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{127}, std::size_t{128}, std::size_t{256},
                                   std::size_t{65536}, std::size_t{1} << 24}) {
    const Bytes element = testing::der::octets(Bytes(length, 1));
    EXPECT_EQ(ber::only(element, ber::octetString).content.size(), length);
  }
  EXPECT_EQ(ber::only(Bytes{0x04, 0x84, 0, 0, 0, 1, 9}, ber::octetString).content[0], 9);
}

TEST(BERReader, refusesALengthOfFiveBytes) {
  EXPECT_EQ(brokenRule({0x04, 0x85, 0, 0, 0, 0, 1, 9}), "a length has at most four bytes");
  EXPECT_EQ(brokenRule({0x04, 0xFF, 0}), "a length has at most four bytes");
}

TEST(BERReader, refusesWhatReachesBeyondItsBytes) {
  EXPECT_EQ(brokenRule({0x04, 0x02, 0x00}), "an element lies inside its bytes");
  EXPECT_EQ(brokenRule({0x04, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}), "an element lies inside its bytes");
  for (const Bytes& cut : {Bytes{}, Bytes{0x04}, Bytes{0x04, 0x82, 0x01}, Bytes{0x30, 0x80}, Bytes{0x30, 0x80, 0x00}})
    EXPECT_EQ(brokenRule(cut), "a range lies inside its bytes");
}

TEST(BERReader, leavesTheEndMarkOutOfTheContent) {
  const Bytes inner = testing::der::sequence({testing::der::integer(5)}, Length::indefinite);
  const Bytes outer = testing::der::sequence({inner, testing::der::null()}, Length::indefinite);
  const ber::Element element = ber::only(outer, ber::sequence);
  EXPECT_EQ(element.encoding.size(), outer.size());
  EXPECT_EQ(element.content.size(), outer.size() - 4);
  ber::Reader reader(element);
  EXPECT_EQ(reader.next().content.size(), 3U);
  EXPECT_EQ(reader.next().tag, 0x05);
  EXPECT_TRUE(reader.isAtEnd());
}

TEST(BERReader, doesNotTakeZerosInsideOfAnElementForAnEndMark) {
  const Bytes bytes = testing::der::sequence({testing::der::octets(Bytes(4, 0))}, Length::indefinite);
  EXPECT_EQ(ber::only(bytes, ber::sequence).content.size(), 6U);
}

TEST(BERReader, refusesAnIndefiniteLengthOfAPrimitiveElement) {
  EXPECT_EQ(brokenRule({0x04, 0x80, 0x00, 0x00}), "an element of indefinite length is constructed");
}

TEST(BERReader, refusesAnEndMarkThatEndsNothing) {
  EXPECT_EQ(brokenRule({0x00, 0x00}), "an end mark belongs to an indefinite length");
  EXPECT_EQ(brokenRule({0x30, 0x80, 0x00, 0x81, 0x00}), "the tag 0 is that of an end mark of two bytes");
}

TEST(BERReader, refusesATagOfSeveralBytes) { EXPECT_EQ(brokenRule({0x3F, 0x01, 0x00}), "a tag is one byte"); }

TEST(BERReader, limitsHowDeepIndefiniteLengthsNest) {
  EXPECT_EQ(brokenRule(nested(32)), "");
  EXPECT_EQ(brokenRule(nested(33)), "indefinite lengths do not nest deeply");
  EXPECT_EQ(brokenRule(nested(1'000'000)), "indefinite lengths do not nest deeply");
}

TEST(BERReader, refusesASecondElementWhereOneStandsAlone) {
  EXPECT_THROW(static_cast<void>(ber::only(Bytes{0x05, 0x00, 0x05, 0x00}, 0x05)), Refusal);
  EXPECT_THROW(static_cast<void>(ber::only(Bytes{0x05, 0x00}, 0x04)), Refusal);
}

}  // namespace
}  // namespace brindlewick::codesign
