// The identity of a module instance: its short type name and the mode it belongs to.
#include <gtest/gtest.h>

#include <string>

#include "log_capture.h"
#include "parser/setmanager/module_data.h"
#include "symbol_table_support.h"

namespace {

using namespace symbol_table_test;
using Messages = std::vector<std::string>;

std::string TypeOf(const std::string& name) {
    char type[ModuleData::kTypeLength + 1] = {};
    return ModuleData::GetType(type, name.c_str());
}

TEST(ModuleData, TypeDropsTheFamilyPrefixAndShortensLongNames) {
    EXPECT_EQ(TypeOf("lumatrope_abf40"), "abf40");
    EXPECT_EQ(TypeOf("LumaTrope_abf40"), "abf40");
    EXPECT_EQ(TypeOf("lumatropeAbf"), "Abf");
    EXPECT_EQ(TypeOf("lumatrope"), "lumatrope");
    const std::string name32 = "abcdefghijklmnopqrstuvwxyz012345";
    EXPECT_EQ(TypeOf(name32), name32);
    EXPECT_EQ(TypeOf("lumatrope_" + name32 + "6"), "abcdefgh-klmnopqrstuvwxyz0123456");
    EXPECT_EQ(TypeOf(name32 + "6").size(), ModuleData::kTypeLength);
}

TEST(ModuleData, TakesItsModeFromTheModeTableOrStandsInForIt) {
    TestSetManager setManager;
    TestModeTable modes(2);
    zyra_test::LogCapture capture;
    ModuleData found(3, 0, &modes, "abf40", VersionUnion(1, 2, 3).Word(), 1, &setManager);
    EXPECT_EQ(found.Mode, modes.GetModeEntry(1));
    EXPECT_STREQ(found.ModulePath, "2.1");
    EXPECT_STREQ(found.Type, "abf40");
    EXPECT_EQ(found.Version, VersionUnion(1, 2, 3));
    EXPECT_EQ(found.SetManager, &setManager);
    EXPECT_EQ(found.SymbolTable, nullptr);

    ModuleData missing(3, 0, &modes, nullptr, 0, 9, nullptr);
    ASSERT_NE(missing.Mode, nullptr);
    EXPECT_FALSE(missing.Mode->Loaded);
    EXPECT_STREQ(missing.ModulePath, "");
    EXPECT_STREQ(missing.Type, "");
    ModuleData noTable(3, 0, nullptr, "abf40", 0, 0, nullptr);
    EXPECT_EQ(noTable.Mode, nullptr);
    EXPECT_EQ(Lines(capture, "[ERROR]"),
              (Messages{"[ERROR] Failed to find ModeID 9 in mode table when creating ModuleData",
                        "[ERROR] ModuleData called with nullptr type parameter",
                        "[ERROR] ModuleData called with nullptr modeTable parameter"}));
}

}  // namespace
