// The text interface of the live tuning service: values read and set by mode path, module
// name with field path, and field names, and field descriptions.
#include <gtest/gtest.h>

#include "parser/setmanager/parameter_parser_info.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

std::string Value(TestSetManager& manager, const char* pPath, const char* pModule,
                  const char* pNames, bool expected = true) {
    char text[256] = "stale";
    EXPECT_EQ(manager.GetValue(pPath, pModule, pNames, text, sizeof(text)), expected);
    return text;
}

TEST(TextAccess, ValuesAndDescriptionsOfTheSelectedInstance) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> binary = Tree();
    const std::string file = dir.Write("tree.bin", std::string(binary.begin(), binary.end()));
    for (const bool onDemand : {false, true}) {
        SCOPED_TRACE(onDemand);
        TestSetManager manager;
        ASSERT_TRUE(LoadTree(manager, binary, file, onDemand));
        const char* pBlend = "0.0|2.0|4.4";
        // Each name that reads is listed; the last one decides the result.
        EXPECT_EQ(Value(manager, pBlend, "abc", "value,nope,gains[1]"), "value=22;gains[1]=0");
        EXPECT_EQ(Value(manager, pBlend, "abc", "value,nope", false), "value=22");
        // A module read in file mode keeps its mode in memory.
        EXPECT_EQ(manager.GetModeEntry(2u)->IsActive(), onDemand);
        // Without names every described field is read, arrays element by element; a path
        // naming one field gets a record without name, which the path's last part names.
        EXPECT_EQ(Value(manager, "0.0|2.0", "abc", nullptr), "value=11;gains=0,0");
        EXPECT_EQ(Value(manager, pBlend, "abc.value", nullptr), "value=22");
        // Without a description the path is read as one field.
        EXPECT_EQ(Value(manager, pBlend, "abc.gains[1]", nullptr), "gains[1]=0");
        EXPECT_EQ(Value(manager, pBlend, "abc.nope", nullptr, false), "");
        EXPECT_EQ(Value(manager, pBlend, "nope", "value", false), "");
        // A path that does not parse to its end names no mode, not the part before the fault.
        EXPECT_EQ(Value(manager, "x|y", "abc", "value", false), "stale");
        EXPECT_EQ(Value(manager, "0.0|2.x", "abc", "value", false), "stale");
        EXPECT_FALSE(manager.SetValue("0.0|2.x", "abc", "value", "1"));

        // Setting changes the selected instance only, and pins its mode.
        EXPECT_TRUE(manager.SetValue(pBlend, "abc", "gains[1]", "9"));
        EXPECT_EQ(Value(manager, pBlend, "abc", nullptr), "value=22;gains=0,9");
        EXPECT_EQ(Value(manager, "0.0", "abc", nullptr), "value=11;gains=0,0");
        EXPECT_TRUE(manager.GetModeEntry(2u)->Pinned);
        EXPECT_FALSE(manager.SetValue("0.0", "abc", "gains[2]", "1"));
        EXPECT_FALSE(manager.SetValue("0.0", ".value", "value", "1"));
        EXPECT_FALSE(manager.SetValue("0.0", "abc", "value", nullptr));
        EXPECT_EQ(manager.ValueSetCount(), 1u);

        // Without a module the root's modules are listed with the paths of the instances the
        // mode path selects.
        PList<ParameterParserInfo> info;
        ASSERT_TRUE(manager.GetInfo(pBlend, nullptr, info));
        ASSERT_EQ(info.Count(), 1u);
        EXPECT_STREQ(info[0].Name, "abc");
        EXPECT_STREQ(info[0].TypeName, "Module");
        EXPECT_STREQ(info[0].Value, "Default|Usecase.Preview|Feature2.MFNRBlend");
        ASSERT_TRUE(manager.GetInfo(pBlend, "abc", info));
        ASSERT_EQ(info.Count(), 3u);
        EXPECT_STREQ(info[1].Value, "22");
        EXPECT_TRUE(info[2].IsArray);
        EXPECT_FALSE(manager.GetInfo("0.0", "abc.nope", info));
        zyra_test::LogCapture capture;
        EXPECT_FALSE(manager.GetInfo("0.0|2.x", "abc", info));
        EXPECT_TRUE(Errors(capture).empty());
        EXPECT_FALSE(manager.GetInfo(nullptr, "abc", info));
        EXPECT_EQ(Errors(capture), (Texts{"[ERROR] GetInfo called with null or empty modeBranch"}));
    }
}

}  // namespace
}  // namespace setmanager_test
