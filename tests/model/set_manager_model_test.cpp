// Random binaries and operation sequences against the set manager model. A failure names its
// seed; ZYRA_MODEL_SEED=<seed> runs that one alone.
#include "set_manager_model.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

std::vector<uint32_t> Seeds() {
    if (const char* pSeed = std::getenv("ZYRA_MODEL_SEED")) {
        return {static_cast<uint32_t>(std::strtoul(pSeed, nullptr, 10))};
    }
    std::vector<uint32_t> seeds;
    for (uint32_t seed = 1; seed <= 24; ++seed) {
        seeds.push_back(seed);
    }
    return seeds;
}

TEST(SetManagerModel, SharedDataSurvivesEvictionUpdatesAndRewrites) {
    for (uint32_t seed : Seeds()) {
        for (uint32_t limit : {5u, 17u}) {
            model::Choices choices(seed);
            EXPECT_EQ(model::RunModel(choices, {limit, 400, false}), "")
                << "seed " << seed << ", active limit " << limit;
        }
    }
}

}  // namespace
