// The control and trigger tables: order by ID, overwrites, the text forms with their quirks,
// and that the two tables are separate.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "parser/setmanager/parameter_ct_value.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

std::string Text(const ParameterCTValue& value, bool withId) {
    char text[128] = "untouched";
    const bool valid = value.ToString(text, sizeof(text), withId);
    return (valid ? "" : "invalid:") + std::string(text);
}

ParameterCTValue Parsed(const char* pText, bool expected = true) {
    ParameterCTValue value;
    EXPECT_EQ(value.FromString(pText), expected) << (pText != nullptr ? pText : "null");
    return value;
}

TEST(ParameterCTValue, TextFormsAndParsing) {
    EXPECT_EQ(Text(ParameterCTValue(3, -1), true), "3=-1");
    EXPECT_EQ(Text(ParameterCTValue(3, UINT_MAX), true), "3=4294967295");
    EXPECT_EQ(Text(ParameterCTValue(3, LONG_MIN), false), "-9223372036854775808");
    EXPECT_EQ(Text(ParameterCTValue(3, 0.25f), true), "3=0.250000");
    EXPECT_EQ(Text(ParameterCTValue(-1, 2.5), false), "2.500000");
    EXPECT_EQ(Text(ParameterCTValue(), true), "invalid:untouched");

    EXPECT_EQ(Text(Parsed("7=3"), true), "7=3");
    EXPECT_EQ(Text(Parsed("7=3.0"), true), "7=3.000000");
    EXPECT_EQ(Text(Parsed("7=-2.5"), true), "7=-2.500000");
    EXPECT_EQ(Text(Parsed("-1=-3"), true), "4294967295=-3");
    // Only nine characters of the ID are read; digits that are no number read as 0.
    EXPECT_EQ(Text(Parsed("12345678901=4"), true), "123456789=4");
    EXPECT_EQ(Text(Parsed("a=b"), true), "0=0");
    EXPECT_EQ(Text(Parsed("1=99999999999999999999"), true), "1=9223372036854775807");

    // A refused text clears Valid and keeps what the value held.
    ParameterCTValue value(4, 8);
    for (const char* pText : {"=5", "5=", "5", "", static_cast<const char*>(nullptr)}) {
        value.Valid = true;
        EXPECT_FALSE(value.FromString(pText));
        EXPECT_FALSE(value.Valid);
        EXPECT_EQ(value.ID, 4u);
        EXPECT_EQ(value.IntegerValue, 8);
    }
}

std::string ControlText(TestSetManager& manager, unsigned int size = 256,
                        bool expected = true) {
    char text[256] = "untouched";
    EXPECT_EQ(manager.GetControlValues(text, size), expected);
    return text;
}

TEST(ControlValues, TableOrderOverwritesAndTextForms) {
    TestSetManager manager;
    EXPECT_EQ(ControlText(manager, 256, false), "untouched");

    manager.SetControlValue(ParameterCTValue(5, 50));
    manager.SetControlValue(ParameterCTValue(2, 20));
    manager.SetControlValue(ParameterCTValue(9, 90));
    EXPECT_EQ(ControlText(manager), "2=20,5=50,9=90");
    manager.SetControlValue(ParameterCTValue(5, 0.5));
    EXPECT_EQ(ControlText(manager), "2=20,5=0.500000,9=90");

    ParameterCTValue found(1, 1);
    EXPECT_FALSE(manager.GetControlValue(7, found));
    EXPECT_EQ(Text(found, true), "1=1");
    EXPECT_TRUE(manager.GetControlValue(5, found));
    EXPECT_EQ(Text(found, true), "5=0.500000");

    // "2=20,5=0.500000" needs 16 bytes with its terminator; the next piece would not fit.
    EXPECT_EQ(ControlText(manager, 16, false), "2=20,5=0.500000");
    EXPECT_EQ(ControlText(manager, 15, false), "2=20");
    EXPECT_EQ(ControlText(manager, 5, false), "");
    EXPECT_EQ(ControlText(manager, 0, false), "untouched");

    PList<ParameterCTValue> copy;
    copy.Insert(0, ParameterCTValue(100, 1));
    EXPECT_TRUE(manager.GetControlValues(copy));
    ASSERT_EQ(copy.Count(), 3u);
    EXPECT_EQ(Text(copy[2], true), "9=90");

    // Replacing: input order does not matter, the last of equal IDs wins, empty input empties.
    const ParameterCTValue values[] = {ParameterCTValue(8, 1), ParameterCTValue(3, 2),
                                       ParameterCTValue(8, 3.0)};
    manager.SetControlValues(values, 3);
    EXPECT_EQ(ControlText(manager), "3=2,8=3.000000");
    manager.SetControlValues(copy);
    EXPECT_EQ(ControlText(manager), "2=20,5=0.500000,9=90");
    manager.SetControlValues(nullptr, 3);
    EXPECT_EQ(ControlText(manager, 256, false), "untouched");
    manager.SetControlValues("9=1,4=2.5,9=3");
    EXPECT_EQ(ControlText(manager), "4=2.500000,9=3");
    manager.SetControlValues("");
    EXPECT_EQ(ControlText(manager, 256, false), "untouched");

    // A piece that does not parse enters under the ID before it, with Valid false; index 0
    // skipped that way still leaves the next piece its separator.
    manager.SetControlValues("x,5=1");
    EXPECT_EQ(ControlText(manager), ",5=1");
    manager.SetControlValues("5=1,bad,6=2");
    EXPECT_TRUE(manager.GetControlValue(5, found));
    EXPECT_FALSE(found.Valid);
    EXPECT_EQ(ControlText(manager), ",6=2");
    // A piece is cut at 63 characters; what follows up to the next "," is dropped.
    manager.SetControlValues(("3=" + std::string(61, '1') + "999,4=4").c_str());
    EXPECT_EQ(ControlText(manager), "3=9223372036854775807,4=4");
}

// The trigger table is a second table of the same kind; the text forms and the concurrent use
// of both are checked by the set manager model's concurrent run.
TEST(ControlValues, TriggerTableIsSeparate) {
    TestSetManager manager;
    manager.SetControlValues("1=1");
    manager.SetTriggerValues("2=2,1=1.5");
    manager.SetTriggerValue(ParameterCTValue(0, 7));
    PList<ParameterCTValue> list;
    EXPECT_TRUE(manager.GetTriggerValues(list));
    EXPECT_EQ(list.Count(), 3u);
    EXPECT_EQ(ControlText(manager), "1=1");
    ParameterCTValue value;
    EXPECT_TRUE(manager.GetTriggerValue(0, value));
    EXPECT_EQ(Text(value, true), "0=7");
    EXPECT_FALSE(manager.GetControlValue(2, value));

    // The array and list forms replace the whole table.
    const ParameterCTValue replacement[] = {ParameterCTValue(4, 4)};
    manager.SetTriggerValues(replacement, 1);
    EXPECT_FALSE(manager.GetTriggerValue(2, value));
    manager.SetTriggerValues(list);
    char text[64] = "";
    EXPECT_TRUE(manager.GetTriggerValues(text, sizeof(text)));
    EXPECT_STREQ(text, "0=7,1=1.500000,2=2");
}

}  // namespace
}  // namespace setmanager_test
