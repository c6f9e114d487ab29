// Lookups the set manager model does not make: the refusals of bad requests, and the order
// and limit of the active mode list at its edges.
#include <gtest/gtest.h>

#include <thread>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/module_data.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using binwriter::TuningBinaryBuilder;

TEST(SetManagerLookup, BadRequestsAreRefusedWithTheirTexts) {
    std::vector<uint8_t> binary = Tree();
    TestSetManager empty;
    zyra_test::LogCapture capture;
    EXPECT_EQ(Get(empty, "abc", "0.0"), nullptr);
    EXPECT_FALSE(empty.LoadMode(nullptr, 0, "abc"));
    EXPECT_STREQ(empty.GetError(), "LoadMode called with no binary file loaded");
    EXPECT_FALSE(empty.UnloadMode(nullptr, 0));
    EXPECT_STREQ(empty.GetError(), "UnloadMode is not valid in buffer mode");

    TestSetManager manager;
    RegisterTree(manager);
    manager.SetLogging(true, true, false);
    ASSERT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    EXPECT_EQ(manager.GetModule(nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_STREQ(manager.GetError(), "GetModule called with nullptr module name");
    EXPECT_EQ(Get(manager, "nope", "0.0|2.0|4.4"), nullptr);
    // Not in the root, but found deeper: the warning is all.
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0|4.4|4.5")->Value, 44u);
    EXPECT_EQ(Get(manager, "ghi", "0.0"), nullptr);
    EXPECT_EQ(Get(manager, "def", "2.0|2.0")->Value, 33u);
    EXPECT_EQ(manager.GetModule("abc", nullptr, 2, nullptr)->Data->Mode, manager.GetRootMode());
    EXPECT_FALSE(manager.LoadMode(nullptr, 0, "abc"));
    EXPECT_STREQ(manager.GetError(), "LoadMode is not valid in buffer mode");
    EXPECT_TRUE(manager.UnloadMode(nullptr, 0));
    EXPECT_EQ(Errors(capture).size(), 9u);
    EXPECT_TRUE(capture.Contains("GetModule nope module not found in default scenario (0.0), mode "
                                 "path: 0.0|2.0|4.4"));
    EXPECT_TRUE(capture.Contains("called with first mode != Default"));
    EXPECT_TRUE(capture.Contains("called with modeBranch == null and modeCount = 2"));
    // Lookups in buffer mode take no references on their modes.
    EXPECT_EQ(Get(manager, "abc", "0.0")->GetReferenceCount(), 0u);
    EXPECT_EQ(Get(manager, "abc", "0.0|2.0|4.4")->GetReferenceCount(), 0u);
}

// Default and 40 use cases, each with its own "abc", and a pinned use case 200.
std::vector<uint8_t> ManyModes() {
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddModule("abc", {1, 2, 3}, 0, ValueBytes(1));
    for (uint16_t i = 0; i < 40; ++i) {
        builder.AddModule("abc", {1, 2, 3}, builder.AddMode(Record(2, i, 0)), ValueBytes(100 + i));
    }
    builder.AddModule("abc", {1, 2, 3}, builder.AddMode(Record(2, 200, 0, std::nullopt, true)),
                      ValueBytes(7));
    return builder.Build();
}

class ManyModesTest : public ::testing::Test {
protected:
    void SetUp() override {
        manager.Register("abc", {1, 2, 3});
        manager.SetOnDemand(true);
        manager.SetMaxActiveModes(17);
        path = dir.Write("many.bin", AsText(ManyModes()));
        ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));
    }

    // The use case `subMode`'s "abc", released again unless `hold`.
    TestModule* Use(unsigned int subMode, bool hold = false) {
        TestModule* pModule = Get(manager, "abc", "0.0|2." + std::to_string(subMode));
        if (pModule != nullptr && !hold) {
            pModule->Release();
        }
        return pModule;
    }
    ModeEntry* UseCase(unsigned int subMode) { return manager.GetModeEntry(subMode + 1); }
    std::string ActiveModes() {
        char text[1024];
        EXPECT_TRUE(manager.GetActiveModes(text, sizeof(text)));
        return text;
    }

    zyra_test::TempDir dir;
    std::string path;
    TestSetManager manager;
};

TEST_F(ManyModesTest, ListOrderAndLimitAtTheirEdges) {
    // Held modes may fill the list beyond the limit; the next lookup, even of a mode in
    // memory, evicts the least recently used of them once it is released.
    std::vector<TestModule*> held;
    for (unsigned int i = 0; i < 18; ++i) {
        held.push_back(Use(i, true));
    }
    EXPECT_EQ(manager.ActiveModes().Count(), 18u);
    held[0]->Release();
    EXPECT_EQ(Use(17, true), held[17]);
    EXPECT_FALSE(UseCase(0)->Loaded);
    EXPECT_EQ(manager.ActiveModes().Count(), 17u);
    for (size_t i = 1; i < held.size(); ++i) {
        held[i]->Release();
    }
    held[17]->Release();

    // Listed most recently used first, also after a use on another thread.
    TestModule* pThree = nullptr;
    std::thread([&] { pThree = Use(3, true); }).join();
    TestModule* pSixteen = Use(16, true);
    EXPECT_EQ(ActiveModes(), "Default|Usecase.16;Default|Usecase.ZSL");
    pThree->Release();
    pSixteen->Release();

    // Without a limit modes leave the list beyond five but stay loaded.
    manager.SetMaxActiveModes(0);
    for (unsigned int i = 20; i < 28; ++i) {
        Use(i);
    }
    EXPECT_EQ(manager.ActiveModes().Count(), 5u);
    EXPECT_TRUE(UseCase(20)->Loaded);
    EXPECT_TRUE(ModuleOf(manager.GetModeEntry(41u), "abc")->Loaded);
}

}  // namespace
}  // namespace setmanager_test
