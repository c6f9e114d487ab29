// What the set manager model does not do: the refusals of bad lookups, updates and reloads,
// the order and limit of the active mode list at its edges, and the text interface of the live
// tuning service (values by mode path, module name and field names, and field descriptions).
// Updates that go through, and the modules that clients hold across them, are checked by the
// model (tests/model).
#include <gtest/gtest.h>

#include <thread>
#include <tuple>
#include <utility>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_parser_info.h"
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
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0|4.4|4.5")->u32, 44u);
    EXPECT_EQ(Get(manager, "ghi", "0.0"), nullptr);
    EXPECT_EQ(Get(manager, "def", "2.0|2.0")->u32, 33u);
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

// Default and 40 use cases, each with its own "abc", and a pinned use case 200. The limit of
// unreferenced modes with clients holding modules is checked by the set manager model.
std::vector<uint8_t> ManyModes() {
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddModule("abc", {1, 0, 0}, 0, ValueBytes(builder, 1));
    for (uint16_t i = 0; i < 40; ++i) {
        const uint32_t useCase = builder.AddMode(Record(2, i, 0));
        builder.AddModule("abc", {1, 0, 0}, useCase, ValueBytes(builder, 100 + i));
    }
    builder.AddModule("abc", {1, 0, 0}, builder.AddMode(Record(2, 200, 0, std::nullopt, true)),
                      ValueBytes(builder, 7));
    return builder.Build();
}

TEST(SetManagerActiveModes, ListOrderAndLimitAtTheirEdges) {
    zyra_test::TempDir dir;
    TestSetManager manager;
    manager.Register("abc");
    manager.SetOnDemand(true);
    manager.SetMaxActiveModes(17);
    ASSERT_TRUE(manager.LoadBinaryParameters(dir.Write("many.bin", ManyModes()).c_str()));
    const auto useCase = [&](unsigned int subMode) {
        return Get(manager, "abc", "0.0|2." + std::to_string(subMode));
    };
    // Listed most recently used first, also after a use on another thread.
    Module* pThree = nullptr;
    std::thread([&] { pThree = useCase(3); }).join();
    Module* pSixteen = useCase(16);
    char text[1024];
    EXPECT_TRUE(manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "Default|Usecase.16;Default|Usecase.ZSL");
    pThree->Release();
    pSixteen->Release();

    // Without a limit modes leave the list beyond five but stay loaded.
    manager.SetMaxActiveModes(0);
    for (unsigned int i = 20; i < 28; ++i) {
        useCase(i)->Release();
    }
    EXPECT_EQ(manager.ActiveModes().Count(), 5u);
    EXPECT_TRUE(manager.GetModeEntry(21u)->Loaded);
    EXPECT_TRUE(ModuleOf(manager.GetModeEntry(41u), "abc")->Loaded);
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
    EXPECT_FALSE(empty.UpdateParameters(&empty));

    TestSetManager manager;
    RegisterTree(manager);
    ASSERT_TRUE(manager.LoadBinaryParameters(original.data(), original.size()));
    EXPECT_FALSE(manager.ReloadBinaryParameters(false));
    EXPECT_STREQ(manager.GetError(), "ReloadBinaryParameters called with empty file name");
    // A binary that does not load changes nothing, though the call itself went through.
    std::vector<uint8_t> broken(update.begin(), update.begin() + 100);
    EXPECT_TRUE(manager.UpdateBinaryParameters(broken.data(), broken.size()));
    EXPECT_STREQ(manager.GetError(), "UpdateBinaryParameters failed to load parameters");
    EXPECT_EQ(Get(manager, "def", "0.0|2.0")->u32, 33u);
    // A module the running tree lacks is not taken in; the others are.
    std::vector<uint8_t> extra = Tree(1000, true);
    EXPECT_TRUE(manager.UpdateBinaryParameters(extra.data(), extra.size()));
    EXPECT_EQ(Get(manager, "def", "0.0|2.0")->u32, 1033u);
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0"), nullptr);
    EXPECT_EQ(manager.UpdateSetCount(), 2u);
    EXPECT_FALSE(manager.UpdateParameters(nullptr));
    EXPECT_FALSE(manager.UpdateParameters(&empty));

    // Freeing what updates replaced leaves every module of the running tree alive: each is
    // read again, which the sanitizer build reports for a freed one.
    manager.FreeReplacedParameters();
    // Snapshot keeps the old "dup" it shares with Preview: the update reached Preview first.
    const std::tuple<uint32_t, const char*, uint32_t> kept[] = {
        {0, "abc", 1011}, {1, "def", 1033}, {2, "abc", 1022}, {3, "ghi", 1044}, {5, "dup", 55}};
    for (const auto& [mode, pName, value] : kept) {
        EXPECT_EQ(ModuleOf(manager.GetModeEntry(mode), pName)->u32, value) << pName;
    }
}

std::string Value(TestSetManager& manager, const char* pPath, const char* pModule,
                  const char* pNames, bool expected = true) {
    char text[256] = "stale";
    EXPECT_EQ(manager.GetValue(pPath, pModule, pNames, text, sizeof(text)), expected);
    return text;
}

TEST(TextAccess, ValuesAndDescriptionsOfTheSelectedInstance) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> binary = Tree();
    const std::string file = dir.Write("tree.bin", binary);
    for (const bool onDemand : {false, true}) {
        SCOPED_TRACE(onDemand);
        TestSetManager manager;
        ASSERT_TRUE(LoadTree(manager, binary, file, onDemand));
        const char* pBlend = "0.0|2.0|4.4";
        // Each name that reads is listed; the last one decides the result.
        EXPECT_EQ(Value(manager, pBlend, "abc", "u32,nope,samples[1]"), "u32=22;samples[1]=20");
        EXPECT_EQ(Value(manager, pBlend, "abc", "u32,nope", false), "u32=22");
        // A module read in file mode keeps its mode in memory.
        EXPECT_EQ(manager.GetModeEntry(2u)->IsActive(), onDemand);
        // Without names every described field is read, arrays element by element. Reads and
        // writes by names and descriptions are checked over the wire by the live tuning tests.
        const std::string all = Value(manager, "0.0|2.0", "abc", nullptr);
        EXPECT_EQ(all.rfind("u8=161;u16=45763;u32=11;i32=-123456;", 0), 0u) << all;
        EXPECT_NE(all.find(";lut=11,12,21,22,31,32;colors=0,3,2;samples=10,20,30;"),
                  std::string::npos);
        // Without a description the path is read as one field.
        EXPECT_EQ(Value(manager, pBlend, "abc.samples[1]", nullptr), "samples[1]=20");
        EXPECT_EQ(Value(manager, pBlend, "abc.corners[1].y", nullptr), "y=4");
        EXPECT_EQ(Value(manager, pBlend, "abc.nope", nullptr, false), "");
        EXPECT_EQ(Value(manager, pBlend, "abc.u32", nullptr), "u32=22");
        EXPECT_EQ(Value(manager, pBlend, "nope", "u32", false), "");
        // A path that does not parse to its end names no mode, not the part before the fault.
        EXPECT_EQ(Value(manager, "x|y", "abc", "u32", false), "stale");
        EXPECT_EQ(Value(manager, "0.0|2.x", "abc", "u32", false), "stale");
        EXPECT_FALSE(manager.SetValue("0.0|2.x", "abc", "u32", "1"));
        // A branch of no steps or a buffer of no room is refused before the buffer is touched.
        char text[4] = "old";
        const TuningMode root[] = {{0, 0, 0}};
        EXPECT_FALSE(manager.GetValue(root, 0, "abc", "u32", text, sizeof(text)));
        EXPECT_FALSE(manager.GetValue(root, 1, "abc", "u32", text, 0));
        EXPECT_STREQ(text, "old");

        // Setting changes the selected instance, and pins its mode.
        EXPECT_TRUE(manager.SetValue(pBlend, "abc", "samples[1]", "9"));
        EXPECT_EQ(Value(manager, pBlend, "abc", "u32,samples"), "u32=22;samples=10,9,30");
        EXPECT_TRUE(manager.GetModeEntry(2u)->Pinned);
        EXPECT_FALSE(manager.SetValue("0.0", ".u32", "u32", "1"));
        EXPECT_FALSE(manager.SetValue("0.0", "abc", "u32", nullptr));
        EXPECT_EQ(manager.ValueSetCount(), 1u);

        // Without a module the root's modules are listed with the paths of the instances the
        // mode path selects.
        PList<ParameterParserInfo> info;
        ASSERT_TRUE(manager.GetInfo(pBlend, nullptr, info));
        ASSERT_EQ(info.Count(), 1u);
        EXPECT_STREQ(info[0].Name, "abc");
        EXPECT_STREQ(info[0].TypeName, "Module");
        EXPECT_STREQ(info[0].Value, "Default|Usecase.Preview|Feature2.MFNRBlend");
        zyra_test::LogCapture capture;
        EXPECT_FALSE(manager.GetInfo("0.0|2.x", "abc", info));
        EXPECT_TRUE(Errors(capture).empty());
        EXPECT_FALSE(manager.GetInfo(nullptr, "abc", info));
        EXPECT_EQ(Errors(capture), (Texts{"[ERROR] GetInfo called with null or empty modeBranch"}));
        EXPECT_FALSE(manager.GetInfo(pBlend, "nope", info));
    }
}

}  // namespace
}  // namespace setmanager_test
