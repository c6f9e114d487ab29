// Whole loads through the writer: every version range and both alignments on demand; modules
// filed under their modes; the refusals of a file load.
#include <gtest/gtest.h>

#include "../parser_messages.h"
#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/module_data.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using binwriter::TuningBinaryBuilder;
using binwriter::Version;

// Default; Usecase.Preview; Feature2.MFNRBlend below it, pinned where pins exist; Usecase.Video
// linked to Preview where links exist. "abc" in Default and MFNRBlend, "def" in Preview.
std::vector<uint8_t> Sample(const Version& version) {
    TuningBinaryBuilder builder(version);
    builder.SetBinaryTag("sample");
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(4, 4, 1, std::nullopt, true));
    builder.AddMode(Record(2, 2, 0, 1));
    builder.AddModule("abc", {1, 0, 0}, 0, ValueBytes(builder, 11));
    builder.AddModule("abc", {1, 0, 0}, 2, ValueBytes(builder, 22));
    builder.AddModule("def", {1, 0, 0}, 1, ValueBytes(builder, 33));
    return builder.Build();
}

// "def" registered under a longer name: the prefix is no part of its type.
void RegisterSample(TestSetManager& manager) {
    manager.Register("abc");
    manager.Register("lumatrope_def");
}

const Version kVersions[] = {{1, 0, 1}, {1, 0, 2}, {1, 1, 0}, {2, 0, 0}, {3, 0, 0},
                             {3, 0, 1}, {3, 0, 2}, {4, 0, 0}, {5, 0, 0}};

// Loads from memory and whole files of every version are checked by the round-trip generator
// (tests/zyratune); here every version loads on demand.
TEST(SetManagerLoad, EveryVersionOnDemand) {
    zyra_test::TempDir dir;
    for (const Version& version : kVersions) {
        SCOPED_TRACE(version.major * 100 + version.minor * 10 + version.patch);
        const std::string path = dir.Write("sample.bin", Sample(version));
        TestSetManager manager;
        RegisterSample(manager);
        manager.SetOnDemand(true);
        ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));
        EXPECT_EQ(manager.GetBinaryVersion(),
                  VersionUnion(version.major, version.minor, version.patch));
        EXPECT_TRUE(manager.IsFileMode());
        EXPECT_STREQ(manager.GetLoggingIdentifier(),
                     (version >= Version{1, 0, 2}) ? "sample" : nullptr);
        // By id: a lookup by path would load the path's modes on demand.
        ModeEntry* pBlend = manager.GetModeEntry(2u);
        ASSERT_NE(pBlend, nullptr);
        Module* pRootAbc = ModuleOf(manager.GetRootMode(), "abc");
        Module* pBlendAbc = ModuleOf(pBlend, "abc");
        Module* pPreviewDef = ModuleOf(manager.GetModeEntry(1u), "def");
        ASSERT_TRUE(pRootAbc && pBlendAbc && pPreviewDef);
        EXPECT_EQ(pBlendAbc->Data->Mode, pBlend);
        EXPECT_EQ(pBlendAbc->Mode.Word(), pBlend->Mode.Word());
        EXPECT_EQ(ModuleOf(manager.GetModeEntry(3u), "def"),
                  (version >= Version{2, 0, 0}) ? pPreviewDef : nullptr);
        EXPECT_EQ(pRootAbc->u32, 11u);
        // Only pinned modes are read at load: the root, and MFNRBlend where pins exist.
        EXPECT_FALSE(manager.GetModeEntry(1u)->Loaded);
        EXPECT_FALSE(pPreviewDef->Loaded);
        EXPECT_EQ(pBlendAbc->Loaded, (version >= Version{5, 0, 0}));
        // Asked for later, a module's entry and values come from the file again.
        EXPECT_TRUE(pPreviewDef->LoadModule(manager.GetSymbolTable()));
        EXPECT_TRUE(pBlendAbc->LoadModule(manager.GetSymbolTable()));
        EXPECT_EQ(pBlendAbc->u32, 22u);
        EXPECT_EQ(pPreviewDef->u32, 33u);
        EXPECT_EQ(manager.GetModeEntry("0.0|2.0|4.4"), pBlend);
        // A module found below Default only warns at every lookup, a warm one too.
        manager.SetLogging(true, true, false);
        zyra_test::LogCapture capture;
        for (int lookup = 0; lookup < 2; ++lookup) {
            const Module* pDef = Get(manager, "def", "0.0|2.0");
            EXPECT_EQ(pDef != nullptr ? pDef->u32 : 0, 33u);
        }
        EXPECT_EQ(parser_test::CountLogged(capture, "[WARNING]",
                                           "GetModule def module not found in default "
                                           "scenario (0.0), mode path: 0.0|2.0"),
                  2);
    }
}

TEST(SetManagerLoad, ModulesThatCannotBeMadeFailTheLoadButNotTheOthers) {
    TuningBinaryBuilder builder({3, 0, 2});
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(5, 6, 0));
    builder.AddModule("xyz", {1, 0, 0}, 0, ValueBytes(builder, 1));
    builder.AddModule("abc", {1, 0, 1}, 1, ValueBytes(builder, 2));
    builder.AddModule("abc", {1, 0, 0}, 9, ValueBytes(builder, 4));
    std::vector<uint8_t> binary = builder.Build();

    for (const bool ignore : {false, true}) {
        zyra_test::LogCapture capture;
        TestSetManager manager;
        RegisterSample(manager);
        manager.SetIgnoreMissingModules(ignore);
        EXPECT_FALSE(manager.LoadBinaryParameters(binary.data(), binary.size()));
        EXPECT_FALSE(manager.IsValid());
        // Identities are made while the table is read, modules after it.
        const Texts errors = Errors(capture);
        ASSERT_EQ(errors.size(), ignore ? 5u : 8u);
        EXPECT_EQ(errors.front(),
                  "[ERROR] Failed to find ModeID 9 in mode table when creating ModuleData");
        EXPECT_EQ(errors.back(), "[ERROR] AddModule: moduleData->ModeId(9) >= m_modeCount(2)");
        EXPECT_EQ(capture.Contains("Failed to find header module:  Type: xyz"), !ignore);
        EXPECT_TRUE(capture.Contains("Failed to parse binary header data for:  Type: abc, Major: "
                                     "1, Minor: 0, Patch: 1, Mode: 5"));
    }
}

TEST(SetManagerLoad, RefusalsOfAFileLoad) {
    zyra_test::TempDir dir;
    TuningBinaryBuilder farTable({5, 0, 0});
    farTable.AddModule("abc", {1, 0, 0}, 0, std::vector<uint8_t>(64, 0));
    farTable.Overrides().sectionTableOffset = 320;
    TuningBinaryBuilder compressed({3, 0, 0});
    compressed.SetFlags(2);
    struct Case {
        std::string name;
        bool onDemand;
        const char* pError;  // the error text held afterwards
        const char* pLine;   // a phrase of the last error line
    };
    const std::string missing = dir.File("missing.bin");
    const Case cases[] = {
        {std::string(1023, 'n'), false, "", "exceeds max file name length of 1023"},
        // The file object that could not open complains of its reference as it goes.
        {missing, false, "", "Called when file was already closed"},
        // On demand the section table must end within the first 316 bytes.
        {dir.Write("far.bin", farTable.Build()), true, "Invalid binary file section count",
         "Invalid binary file section count"},
        {dir.Write("compressed.bin", compressed.Build()), true, "",
         "Compressed binary files ssupport removed in V5.1.0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name.substr(0, 40));
        zyra_test::LogCapture capture;
        TestSetManager manager;
        manager.SetOnDemand(c.onDemand);
        EXPECT_FALSE(manager.LoadBinaryParameters(c.name.c_str()));
        EXPECT_STREQ(manager.GetError(), c.pError);
        const Texts errors = Errors(capture);
        ASSERT_FALSE(errors.empty());
        EXPECT_NE(errors.back().find(c.pLine), std::string::npos) << errors.back();
    }

    TestSetManager manager;
    EXPECT_FALSE(manager.LoadBinaryParameters(static_cast<const char*>(nullptr)));
    EXPECT_STREQ(manager.GetError(), "LoadBinaryParameters called with nullptr file name");
}

}  // namespace
}  // namespace setmanager_test
