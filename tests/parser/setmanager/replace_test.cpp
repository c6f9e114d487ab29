// The refusals of updates and reloads. Updates that go through, and the modules that clients
// hold across them, are checked by the set manager model (tests/model).
#include <gtest/gtest.h>

#include <utility>

#include "binwriter/tuning_binary_builder.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

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

    // Freeing what updates replaced leaves every module of the running tree alive.
    TestModule::Destroyed().clear();
    manager.FreeReplacedParameters();
    EXPECT_FALSE(TestModule::Destroyed().empty());
    for (const auto& [mode, pName] : {std::pair<uint32_t, const char*>{0, "abc"}, {1, "def"},
                                      {2, "abc"}, {3, "ghi"}, {5, "dup"}}) {
        TestModule* pModule = ModuleOf(manager.GetModeEntry(mode), pName);
        EXPECT_EQ(TestModule::Destroyed().count(pModule), 0u) << pName << " in mode " << mode;
    }
    EXPECT_EQ(Get(manager, "def", "0.0|2.0")->Value, 1033u);
}

}  // namespace
}  // namespace setmanager_test
