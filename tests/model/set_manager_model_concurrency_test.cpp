// Two client threads walking one binary with shared arrays beside a tuner setting values by
// path: every held module keeps its values while the other threads' lookups evict and reload
// modes around it, and, in the runs with an update, while a new binary replaces the modules.
#include <gtest/gtest.h>

#include "set_manager_model.h"

TEST(SetManagerModelConcurrency, HeldSharedDataStaysWholeUnderEvictionsTuningAndUpdates) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        model::Choices choices(seed);
        EXPECT_EQ(model::RunModel(choices, {5, 300, true, seed % 2 == 0}), "") << "seed " << seed;
    }
}
