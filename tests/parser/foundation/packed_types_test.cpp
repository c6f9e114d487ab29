#include <gtest/gtest.h>

#include "parser/foundation/mode_union.h"
#include "parser/foundation/version_union.h"

namespace {

TEST(VersionUnion, ComparesFieldByFieldNotAsOneWord) {
    // As one word, the patch would outrank the major version.
    EXPECT_GT(VersionUnion(2, 0, 0), VersionUnion(1, 65535, 4294967295u));
    EXPECT_GT(VersionUnion(1, 10, 0), VersionUnion(1, 9, 9));
    EXPECT_LT(VersionUnion(1, 2, 3), VersionUnion(1, 2, 4));
    EXPECT_EQ(VersionUnion(1, 2, 3).Compare(VersionUnion(1, 2, 3)), 0);
    EXPECT_EQ(VersionUnion(1, 2, 4).Compare(VersionUnion(1, 2, 3)), 1);
    EXPECT_EQ(VersionUnion(0, 9, 0).Compare(VersionUnion(1, 0, 0)), -1);

    VersionUnion low(3, 0, 1);
    VersionUnion high(3, 1, 0);
    EXPECT_TRUE(low < high && low <= high && low != high && high > low && high >= low);
    EXPECT_FALSE(low == high || low > high || low >= high);
}

TEST(PackedTypes, WordsHoldTheFieldsLowestFirst) {
    VersionUnion version(0x0000000300020001ull);
    EXPECT_EQ(version.major, 1);
    EXPECT_EQ(version.minor, 2);
    EXPECT_EQ(version.patch, 3u);
    EXPECT_EQ(VersionUnion(5, 0, 1).Word(), 0x0000000100000005ull);
    EXPECT_EQ(VersionUnion().Word(), 0u);

    ModeUnion mode(0x00070002u);
    EXPECT_EQ(mode.mode, 2);
    EXPECT_EQ(mode.subMode, 7);
    EXPECT_EQ(ModeUnion(4, 9).Word(), 0x00090004u);
}

}  // namespace
