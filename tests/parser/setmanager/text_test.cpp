// The text interface of the live tuning service: values read and set by mode path, module
// specification and field names, and field descriptions.
#include <gtest/gtest.h>

#include <cstring>

#include "binwriter/tuning_binary_builder.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "set_manager_test_support.h"
#include "temp_dir.h"

namespace setmanager_test {
namespace {

using binwriter::TuningBinaryBuilder;
using Texts = std::vector<std::string>;

// Default "abc" 11 and "def" 33; Usecase.Preview with Feature2.MFNRBlend below it holding
// "abc" 22.
std::vector<uint8_t> Tree() {
    TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(4, 4, 1));
    builder.AddModule("abc", {1, 2, 3}, 0, ValueBytes(11));
    builder.AddModule("def", {4, 5, 6}, 0, ValueBytes(33));
    builder.AddModule("abc", {1, 2, 3}, 2, ValueBytes(22));
    return builder.Build();
}

class TextAccessTest : public ::testing::Test {
protected:
    void SetUp() override {
        manager.Register("abc", {1, 2, 3});
        manager.Register("def", {4, 5, 6});
        ASSERT_TRUE(manager.LoadBinaryParameters(binary.data(), binary.size()));
    }

    std::string Value(const char* pPath, const char* pSpec, const char* pNames,
                      bool expected = true) {
        char text[256] = "stale";
        EXPECT_EQ(manager.GetValue(pPath, pSpec, pNames, text, sizeof(text)), expected);
        return text;
    }

    std::vector<uint8_t> binary = Tree();
    TestSetManager manager;
};

TEST_F(TextAccessTest, ValuesByNameByDescriptionAndByPath) {
    const char* pBlend = "0.0|2.0|4.4";
    EXPECT_EQ(Value(pBlend, "abc", "value"), "value=22");
    EXPECT_EQ(Value("0.0|2.0", "abc", "value"), "value=11");
    // Each name that reads is listed; the last one decides the result.
    EXPECT_EQ(Value(pBlend, "abc", "value,nope,gains[1]"), "value=22;gains[1]=0");
    EXPECT_EQ(Value(pBlend, "abc", "value,nope", false), "value=22");
    // Without names every described field is read, arrays element by element.
    EXPECT_EQ(Value(pBlend, "abc", nullptr), "value=22;gains=0,0");
    // A path naming one field gets a record without name; the path's last part names it.
    EXPECT_EQ(Value(pBlend, "abc.value", nullptr), "value=22");
    // Without a description the path is read as one field.
    EXPECT_EQ(Value(pBlend, "abc.gains[1]", nullptr), "gains[1]=0");
    EXPECT_EQ(Value(pBlend, "abc.nope", nullptr, false), "");
    EXPECT_EQ(Value(pBlend, "nope", "value", false), "");
    EXPECT_EQ(Value("x|y", "abc", "value", false), "stale");
    EXPECT_EQ(Value(nullptr, "abc", "value", false), "stale");
    char tiny[8];
    EXPECT_TRUE(manager.GetValue(pBlend, "abc", "value", tiny, sizeof(tiny)));
    EXPECT_STREQ(tiny, "value=2");
}

TEST_F(TextAccessTest, SetValueChangesTheSelectedInstanceOnly) {
    EXPECT_TRUE(manager.SetValue("0.0|2.0|4.4", "abc", "gains[1]", "9"));
    EXPECT_TRUE(manager.SetValue("0.0|2.0|4.4", "abc", "value", "5"));
    EXPECT_EQ(Value("0.0|2.0|4.4", "abc", nullptr), "value=5;gains=0,9");
    EXPECT_EQ(Value("0.0", "abc", nullptr), "value=11;gains=0,0");
    EXPECT_EQ(manager.ValueSetCount(), 2u);
    EXPECT_TRUE(manager.GetModeEntry(2u)->Pinned);
    // Refusals change nothing.
    EXPECT_FALSE(manager.SetValue("0.0", "abc", "gains[2]", "1"));
    EXPECT_FALSE(manager.SetValue("0.0", ".value", "value", "1"));
    EXPECT_FALSE(manager.SetValue("0.0", "abc", "value", nullptr));
    EXPECT_FALSE(manager.SetValue("0.0", nullptr, "value", "1"));
    EXPECT_FALSE(manager.SetValue("nonsense", "abc", "value", "1"));
    EXPECT_EQ(manager.ValueSetCount(), 2u);
}

TEST_F(TextAccessTest, InfoListsModulesOrFields) {
    PList<ParameterParserInfo> modules;
    ASSERT_TRUE(manager.GetInfo("0.0|2.0|4.4", nullptr, modules));
    ASSERT_EQ(modules.Count(), 2u);
    for (uint32_t i = 0; i < modules.Count(); ++i) {
        EXPECT_STREQ(modules[i].TypeName, "Module");
        const bool blend = std::strcmp(modules[i].Name, "abc") == 0;
        EXPECT_STREQ(modules[i].Value,
                     blend ? "Default|Usecase.Preview|Feature2.MFNRBlend" : "Default");
    }
    PList<ParameterParserInfo> fields;
    ASSERT_TRUE(manager.GetInfo("0.0|2.0|4.4", "abc", fields));
    ASSERT_EQ(fields.Count(), 2u);
    EXPECT_STREQ(fields[0].Name, "value");
    EXPECT_STREQ(fields[0].Value, "22");
    EXPECT_TRUE(fields[1].IsArray);
    EXPECT_EQ(fields[1].Count, 2u);
    PList<ParameterParserInfo> one;
    ASSERT_TRUE(manager.GetInfo("0.0", "abc.value", one));
    ASSERT_EQ(one.Count(), 1u);
    EXPECT_EQ(one[0].Name, nullptr);
    EXPECT_FALSE(manager.GetInfo("0.0", "nope", one));
    EXPECT_FALSE(manager.GetInfo("0.0", "abc.nope", one));
    zyra_test::LogCapture capture;
    EXPECT_FALSE(manager.GetInfo(nullptr, "abc", one));
    EXPECT_EQ(Errors(capture), (Texts{"[ERROR] GetInfo called with null or empty modeBranch"}));
    EXPECT_EQ(one.Count(), 1u);
}

TEST(TextAccess, InFileModeTheModeOfAnAccessedModuleStaysActive) {
    zyra_test::TempDir dir;
    std::vector<uint8_t> binary = Tree();
    const std::string path = dir.Write("tree.bin", std::string(binary.begin(), binary.end()));
    TestSetManager manager;
    manager.Register("abc", {1, 2, 3});
    manager.Register("def", {4, 5, 6});
    manager.SetOnDemand(true);
    ASSERT_TRUE(manager.LoadBinaryParameters(path.c_str()));
    char text[64];
    ASSERT_TRUE(manager.GetValue("0.0|2.0|4.4", "abc", "value", text, sizeof(text)));
    EXPECT_STREQ(text, "value=22");
    EXPECT_TRUE(manager.GetModeEntry(2u)->IsActive());
    EXPECT_FALSE(manager.GetModeEntry(2u)->Pinned);
}

}  // namespace
}  // namespace setmanager_test
