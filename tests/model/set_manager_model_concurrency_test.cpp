// Two client threads walking one binary with shared arrays: every held module keeps its
// values while the other thread's lookups evict and reload modes around it.
#include <gtest/gtest.h>

#include "set_manager_model.h"

TEST(SetManagerModelConcurrency, HeldSharedDataStaysWholeUnderTheOtherThreadsEvictions) {
    for (uint32_t seed = 1; seed <= 4; ++seed) {
        model::Choices choices(seed);
        EXPECT_EQ(model::RunModel(choices, {5, 300, true}), "") << "seed " << seed;
    }
}
