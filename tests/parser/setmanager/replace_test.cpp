// Live replacement: a new binary taken into a running set manager, with the modules that
// clients hold kept readable, and the refusals of updates and reloads.
#include <gtest/gtest.h>

#include "binwriter/tuning_binary_builder.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

TEST(SetManagerReplace, UpdateTakesTheNewValuesWhileHeldModulesStayReadable) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> original = Tree(0);
    const std::string path = dir.Write("tree.bin", AsText(original));
    for (const bool onDemand : {false, true}) {
        SCOPED_TRACE(onDemand);
        TestSetManager manager;
        ASSERT_TRUE(LoadTree(manager, original, path, onDemand));
        TestModule* pOldBlend = Get(manager, "abc", "0.0|2.0|4.4");
        TestModule* pOldDef = Get(manager, "def", "0.0|2.0");
        ASSERT_TRUE(pOldBlend && pOldDef);

        std::vector<uint8_t> update = Tree(1000);
        ASSERT_TRUE(manager.UpdateBinaryParameters(update.data(), update.size()));
        // An update always leaves the set in memory.
        EXPECT_FALSE(manager.IsFileMode());
        EXPECT_EQ(Get(manager, "abc", "0.0")->Value, 1011u);
        EXPECT_EQ(Get(manager, "abc", "0.0|2.0|4.4")->Value, 1022u);
        EXPECT_EQ(Get(manager, "def", "0.0|2.0")->Value, 1033u);
        EXPECT_EQ(Get(manager, "dup", "0.0|2.0")->Value, 1055u);
        // The new tree's following siblings all go into the target that matched the first
        // of them, so Snapshot keeps its old shared instance.
        EXPECT_EQ(Get(manager, "dup", "0.0|2.1")->Value, 55u);
        EXPECT_EQ(pOldBlend->Value, 22u);
        EXPECT_EQ(pOldDef->Value, 33u);
        pOldDef->Release();

        // A second update replaces the modules of the first, which stay readable as well.
        TestModule* pFirst = Get(manager, "def", "0.0|2.0");
        std::vector<uint8_t> again = Tree(2000);
        ASSERT_TRUE(manager.UpdateBinaryParameters(again.data(), again.size()));
        EXPECT_EQ(Get(manager, "def", "0.0|2.0")->Value, 2033u);
        EXPECT_EQ(pFirst->Value, 1033u);
        EXPECT_EQ(manager.UpdateSetCount(), 2u);
    }
}

TEST(SetManagerReplace, RefusalsLeaveTheRunningSetAsItWas) {
    std::vector<uint8_t> original = Tree(0);
    std::vector<uint8_t> update = Tree(1000);
    zyra_test::LogCapture capture;
    TestSetManager empty;
    RegisterTree(empty);
    EXPECT_FALSE(empty.UpdateBinaryParameters(update.data(), update.size()));
    EXPECT_STREQ(empty.GetError(),
                 "UpdateBinaryParameters failed, original parameter load is invalid");

    TestSetManager manager;
    RegisterTree(manager);
    ASSERT_TRUE(manager.LoadBinaryParameters(original.data(), original.size()));
    EXPECT_FALSE(manager.ReloadBinaryParameters(false));
    EXPECT_STREQ(manager.GetError(), "ReloadBinaryParameters called with empty file name");
    // A binary that does not load changes nothing, though the call itself went through.
    std::vector<uint8_t> broken(update.begin(), update.begin() + 100);
    EXPECT_TRUE(manager.UpdateBinaryParameters(broken.data(), broken.size()));
    EXPECT_STREQ(manager.GetError(), "UpdateBinaryParameters failed to load parameters");
    EXPECT_EQ(Get(manager, "def", "0.0|2.0")->Value, 33u);
    // A module the running tree lacks is not taken in; the others are.
    std::vector<uint8_t> extra = Tree(1000, true);
    EXPECT_TRUE(manager.UpdateBinaryParameters(extra.data(), extra.size()));
    EXPECT_EQ(Get(manager, "def", "0.0|2.0")->Value, 1033u);
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0"), nullptr);
    EXPECT_EQ(manager.UpdateSetCount(), 2u);
}

}  // namespace
}  // namespace setmanager_test
