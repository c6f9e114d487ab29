// Selecting module instances along mode branches, the references clients hold on owning
// modes, loading on demand with eviction of the least recently used modes, pinning, and
// reading a file again when it changed on disk.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <thread>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/module_data.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using binwriter::TuningBinaryBuilder;

int64_t ValueAt(TestSetManager& manager, const char* pName, const char* pPath) {
    TestModule* pModule = Get(manager, pName, pPath);
    return pModule != nullptr ? static_cast<int64_t>(pModule->Value) : -1;
}

// Sets the file's time of modification `seconds` ahead, as a rewrite a while later would.
void Age(const std::string& path, long seconds) {
    struct timeval times[2];
    gettimeofday(&times[0], nullptr);
    times[0].tv_sec += seconds;
    times[1] = times[0];
    ASSERT_EQ(utimes(path.c_str(), times), 0);
}

TEST(SetManagerLookup, DeepestModeOnTheBranchHoldingTheModuleGivesIt) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> binary = Tree();
    const std::string path = dir.Write("tree.bin", AsText(binary));
    for (const bool onDemand : {false, true}) {
        SCOPED_TRACE(onDemand);
        TestSetManager manager;
        ASSERT_TRUE(LoadTree(manager, binary, path, onDemand));
        EXPECT_EQ(ValueAt(manager, "abc", "0.0"), 11);
        // Preview holds no "abc" and inherits the root's.
        EXPECT_EQ(ValueAt(manager, "abc", "0.0|2.0"), 11);
        EXPECT_EQ(ValueAt(manager, "abc", "0.0|2.0|4.4"), 22);
        // Two Feature2 steps are one group, found in either order. The group leads straight
        // to its deepest mode: MFNRBlend on the way does not count, and the root's stands.
        EXPECT_EQ(ValueAt(manager, "abc", "0.0|2.0|4.4|4.5"), 11);
        EXPECT_EQ(ValueAt(manager, "ghi", "0.0|2.0|4.5|4.4"), 44);
        // A group that does not match ends the walk with what was found before it.
        EXPECT_EQ(ValueAt(manager, "abc", "0.0|2.0|3.1|4.4"), 11);
        EXPECT_EQ(ValueAt(manager, "def", "0.0|2.0|3.1|4.4"), 33);
        // Video borrows Preview's modules through its link.
        EXPECT_EQ(ValueAt(manager, "def", "0.0|2.2"), 33);
        // One step is the root, whatever it says.
        EXPECT_EQ(ValueAt(manager, "abc", "2.0"), 11);
        // Duplicated entries are one object in both modes.
        EXPECT_EQ(Get(manager, "dup", "0.0|2.0"), Get(manager, "dup", "0.0|2.1"));
        EXPECT_EQ(Get(manager, "dup", "0.0|2.1")->Value, 55u);
    }
}

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
    EXPECT_EQ(Messages(capture),
              (Texts{
                  "[ERROR] GetModule abc called with no binary loaded",
                  "[ERROR] LoadMode called with no binary file loaded",
                  "[ERROR] UnloadMode is not valid in buffer mode",
                  "[ERROR] GetModule called with nullptr module name",
                  "[WARNING] GetModule nope module not found in default scenario (0.0), mode "
                  "path: 0.0|2.0|4.4",
                  "[ERROR] GetModule nope failed to find a loaded module in 0.0|2.0|4.4, "
                  "returning null",
                  "[WARNING] GetModule ghi module not found in default scenario (0.0), mode "
                  "path: 0.0|2.0|4.4|4.5",
                  "[WARNING] GetModule ghi module not found in default scenario (0.0), mode "
                  "path: 0.0",
                  "[ERROR] GetModule(def) called with first mode != Default, might not return "
                  "module data from the desired mode path: 2.0|2.0",
                  "[WARNING] GetModule def module not found in default scenario (0.0), mode "
                  "path: 2.0|2.0",
                  "[ERROR] GetModule(abc) called with modeBranch == null and modeCount = 2, will "
                  "return default mode module data",
                  "[ERROR] LoadMode is not valid in buffer mode",
                  "[ERROR] UnloadMode is not valid in buffer mode",
              }));
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
    unsigned int LoadedUseCases() {
        unsigned int loaded = 0;
        for (unsigned int i = 0; i < 40; ++i) {
            loaded += UseCase(i)->Loaded && ModuleOf(UseCase(i), "abc")->Loaded ? 1 : 0;
        }
        return loaded;
    }

    zyra_test::TempDir dir;
    std::string path;
    TestSetManager manager;
};

TEST_F(ManyModesTest, LeastRecentlyUsedUnreferencedModeIsEvictedBeyondTheLimit) {
    // The modules of pinned modes come in with the binary.
    ModeEntry* pPinned = manager.GetModeEntry(41u);
    EXPECT_TRUE(ModuleOf(pPinned, "abc")->Loaded);

    for (unsigned int i = 0; i < 17; ++i) {
        EXPECT_EQ(Use(i)->Value, 100 + i);
    }
    EXPECT_EQ(LoadedUseCases(), 17u);
    EXPECT_EQ(manager.ActiveModes().Count(), 17u);
    EXPECT_EQ(manager.ActiveModes()[0], UseCase(16));
    // The 18th evicts use case 0, the least recently used.
    Use(17);
    EXPECT_FALSE(UseCase(0)->Loaded);
    EXPECT_FALSE(ModuleOf(UseCase(0), "abc")->Loaded);
    EXPECT_TRUE(UseCase(1)->Loaded);
    EXPECT_EQ(manager.ActiveModes().Count(), 17u);
    // Using a mode again moves it to the front, so use case 2 goes before it next time.
    Use(1);
    Use(18);
    EXPECT_TRUE(UseCase(1)->Loaded);
    EXPECT_FALSE(UseCase(2)->Loaded);
    // Listed most recently used first, also after uses that found their modes in memory.
    TestModule* pSeventeen = Use(17, true);
    TestModule* pSixteen = Use(16, true);
    char text[256];
    ASSERT_TRUE(manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "Default|Usecase.16;Default|Usecase.17");
    pSeventeen->Release();
    pSixteen->Release();

    // A referenced mode stays, however long ago it was used.
    TestModule* pHeld = Use(19, true);
    for (unsigned int i = 20; i < 40; ++i) {
        Use(i);
    }
    EXPECT_TRUE(UseCase(19)->Loaded);
    EXPECT_EQ(pHeld->Value, 119u);
    EXPECT_LE(LoadedUseCases(), 18u);
    pHeld->Release();

    // Cycling through all of them without references leaves at most the limit loaded,
    // besides the pinned mode.
    for (unsigned int i = 0; i < 40; ++i) {
        EXPECT_EQ(Use(i)->Value, 100 + i);
    }
    EXPECT_EQ(LoadedUseCases(), 17u);
    EXPECT_TRUE(ModuleOf(pPinned, "abc")->Loaded);
}

TEST_F(ManyModesTest, UsesOnOtherThreadsOrderTheListAsTheyRan) {
    // Cold uses, then warm ones held in another order, each on a thread of its own.
    std::vector<TestModule*> held;
    for (unsigned int i : {0u, 1u, 2u, 1u, 0u, 2u}) {
        std::thread([&, i] { held.push_back(Use(i, held.size() >= 3)); }).join();
    }
    char text[256];
    ASSERT_TRUE(manager.GetActiveModes(text, sizeof(text)));
    EXPECT_STREQ(text, "Default|Usecase.Video;Default|Usecase.Preview;Default|Usecase.Snapshot");
    for (size_t i = 3; i < held.size(); ++i) {
        held[i]->Release();
    }
}

TEST_F(ManyModesTest, WithoutALimitModesLeaveTheListButStayLoaded) {
    manager.SetMaxActiveModes(0);
    for (unsigned int i = 0; i < 8; ++i) {
        Use(i);
    }
    EXPECT_EQ(manager.ActiveModes().Count(), 5u);
    EXPECT_EQ(LoadedUseCases(), 8u);
}

TEST_F(ManyModesTest, UnloadModeTakesOutTheDeepestModeOnly) {
    TestModule* pHeld = Use(5, true);
    Use(6);
    const std::vector<TuningMode> six = Branch("0.0|2.6");
    zyra_test::LogCapture capture;
    EXPECT_TRUE(manager.UnloadMode(six.data(), 2));
    EXPECT_FALSE(UseCase(6)->Loaded);
    EXPECT_TRUE(manager.GetRootMode()->Loaded);
    EXPECT_EQ(manager.ActiveModes()[0], UseCase(5));
    // Unloading a referenced mode is told, and its references are dropped.
    const std::vector<TuningMode> five = Branch("0.0|2.5");
    EXPECT_TRUE(manager.UnloadMode(five.data(), 2));
    EXPECT_FALSE(pHeld->Loaded);
    EXPECT_EQ(UseCase(5)->GetReferenceCount(nullptr), 0u);
    const std::vector<TuningMode> missing = Branch("0.0|3.1");
    EXPECT_FALSE(manager.UnloadMode(missing.data(), 2));
    EXPECT_EQ(Errors(capture),
              (Texts{"[ERROR] Unloading referenced module abc, Mode: 0.0|2.5, Ref count: 1",
                     "[ERROR] Unloading mode with 1 unreleased modules: 0.0|2.5",
                     "[ERROR] ReleaseReferences called with unreleased module: abc, RefCnt: 1"}));
    // Asked for again, it comes back from the file.
    EXPECT_EQ(Use(5)->Value, 105u);
}

TEST(SetManagerReload, FileChangedOnDiskIsReadAgainOnceAndOldModulesStayReadable) {
    zyra_test::TempDir dir;
    const std::string path = dir.Write("tree.bin", AsText(Tree()));
    TestSetManager manager;
    RegisterTree(manager);
    manager.SetOnDemand(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));
    TestModule* pOldRoot = Get(manager, "abc", "0.0");
    ASSERT_NE(pOldRoot, nullptr);

    dir.Write("tree.bin", AsText(Tree(1000)));
    Age(path, 10);
    zyra_test::LogCapture capture;
    TestModule* pDef = Get(manager, "def", "0.0|2.0");
    ASSERT_NE(pDef, nullptr);
    EXPECT_EQ(pDef->Value, 1033u);
    const Texts messages = Messages(capture);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "[DEBUG] Reloading binary file " + path),
              1);
    EXPECT_TRUE(manager.IsFileMode());
    EXPECT_EQ(Get(manager, "abc", "0.0")->Value, 1011u);
    // The module held from before is kept for its holder, and its release goes to the
    // retired tree.
    EXPECT_EQ(pOldRoot->Value, 11u);
    pOldRoot->Release();

    // A file that no longer passes its check leaves the set empty until the next load.
    dir.Write("tree.bin", "broken");
    Age(path, 20);
    EXPECT_EQ(Get(manager, "ghi", "0.0|2.0|4.4|4.5"), nullptr);
    EXPECT_EQ(manager.GetRootMode(), nullptr);
    EXPECT_EQ(pDef->Value, 1033u);
    pDef->Release();
    EXPECT_EQ(Get(manager, "abc", "0.0"), nullptr);
}

TEST(SetManagerReload, UnreadableModuleReloadsOncePerRequestAndThePreviousModuleSurvives) {
    zyra_test::TempDir dir;
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddModule("abc", {1, 2, 3}, 0, ValueBytes(11));
    // Too short for its value: every read of it fails, as after a change of the file.
    builder.AddModule("def", {4, 5, 6}, 1, {});
    const std::string path = dir.Write("tree.bin", AsText(builder.Build()));
    TestSetManager manager;
    RegisterTree(manager);
    manager.SetOnDemand(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));

    zyra_test::LogCapture capture;
    ParameterModule* pPrevious = Get(manager, "abc", "0.0");
    ASSERT_NE(pPrevious, nullptr);
    for (int request = 0; request < 3; ++request) {
        const std::vector<TuningMode> steps = Branch("0.0|2.0");
        ParameterModule* pModule = manager.GetModule("abc", steps.data(), 2, pPrevious);
        ASSERT_NE(pModule, nullptr);
        EXPECT_EQ(static_cast<TestModule*>(pModule)->Value, 11u);
        pPrevious = pModule;
    }
    manager.ReleaseModule(pPrevious);
    const Texts messages = Messages(capture);
    EXPECT_EQ(std::count(messages.begin(), messages.end(), "[DEBUG] Reloading binary file " + path),
              3);
}

}  // namespace
}  // namespace setmanager_test
