// The short type name a module instance is known by.
#include <gtest/gtest.h>

#include <string>

#include "parser/setmanager/module_data.h"

namespace {

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

}  // namespace
