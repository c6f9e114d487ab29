// Live replacement: a new binary taken into a running set manager, with the modules that
// clients hold kept readable, and the refusals of updates and reloads.
#include <gtest/gtest.h>

#include "binwriter/tuning_binary_builder.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using binwriter::SymbolEntry;
using binwriter::TuningBinaryBuilder;
using Texts = std::vector<std::string>;

// Default "abc"; Usecase.Preview "def" and "dup", with Feature2.MFNRBlend below it holding
// "abc"; Usecase.Snapshot sharing Preview's "dup". Values are `base` plus 11, 22, 33, 55.
// `extra` adds a module "ghi" to Preview.
std::vector<uint8_t> Tree(uint32_t base, bool extra = false) {
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(4, 4, 1));
    builder.AddMode(Record(2, 1, 0));
    builder.AddModule("abc", {1, 2, 3}, 0, ValueBytes(base + 11));
    builder.AddModule("abc", {1, 2, 3}, 2, ValueBytes(base + 22));
    builder.AddModule("def", {4, 5, 6}, 1, ValueBytes(base + 33));
    const uint32_t dup = builder.AddModule("dup", {1, 0, 0}, 1, ValueBytes(base + 55));
    SymbolEntry shared;
    shared.name = "dup";
    shared.version = {1, 0, 0};
    shared.mode = 3;
    shared.data = ValueBytes(base + 55);
    shared.duplicateId = dup;
    builder.AddSymbol(shared);
    if (extra) {
        builder.AddModule("ghi", {1, 0, 0}, 1, ValueBytes(base + 44));
    }
    return builder.Build();
}

void RegisterTree(TestSetManager& manager) {
    manager.Register("abc", {1, 2, 3});
    manager.Register("def", {4, 5, 6});
    manager.Register("ghi", {1, 0, 0});
    manager.Register("dup", {1, 0, 0});
}

TEST(SetManagerReplace, UpdateTakesTheNewValuesWhileHeldModulesStayReadable) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> original = Tree(0);
    const std::string path =
        dir.Write("tree.bin", std::string(original.begin(), original.end()));
    for (const bool onDemand : {false, true}) {
        SCOPED_TRACE(onDemand);
        TestSetManager manager;
        RegisterTree(manager);
        manager.SetOnDemand(onDemand);
        ASSERT_TRUE(onDemand ? manager.LoadBinaryParameters(path.c_str())
                             : manager.LoadBinaryParameters(original.data(), original.size()));
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
