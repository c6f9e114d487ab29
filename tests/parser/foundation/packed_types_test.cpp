#include <gtest/gtest.h>

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

}  // namespace
