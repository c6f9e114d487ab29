#include <gtest/gtest.h>

#include <vector>

#include "parser/foundation/plist.h"

namespace {

std::vector<int> Contents(const PList<int>& list) {
    std::vector<int> values;
    for (uint32_t i = 0; i < list.Count(); ++i) {
        values.push_back(list[i]);
    }
    return values;
}

TEST(PList, InsertsAnywhereGrowsByItsStepAndNeverShrinks) {
    PList<int> list;
    EXPECT_TRUE(list.Insert(0, 1));
    EXPECT_TRUE(list.Insert(1, 3));
    EXPECT_EQ(list.Capacity(), 2u);
    // A full list, insertion at the front: every element moves up.
    EXPECT_TRUE(list.Insert(0, 0));
    EXPECT_TRUE(list.Insert(2, 2));
    EXPECT_EQ(Contents(list), (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(list.Capacity(), 4u);

    PList<int> stepped(3);
    stepped.Insert(0, 7);
    EXPECT_EQ(stepped.Capacity(), 3u);

    // Removal does not shrink, indices beyond the end are refused, and freed slots are
    // reused before the storage grows again.
    EXPECT_TRUE(list.Remove(1));
    EXPECT_TRUE(list.Remove(2));
    EXPECT_EQ(Contents(list), (std::vector<int>{0, 2}));
    EXPECT_FALSE(list.Remove(2));
    EXPECT_FALSE(list.Insert(3, 99));
    EXPECT_EQ(Contents(list), (std::vector<int>{0, 2}));
    list.Insert(0, 5);
    list.Insert(3, 50);
    EXPECT_EQ(Contents(list), (std::vector<int>{5, 0, 2, 50}));
    EXPECT_EQ(list.Capacity(), 4u);
}

}  // namespace
