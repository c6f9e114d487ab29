#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "../parser_messages.h"
#include "log_capture.h"
#include "parser/foundation/parameter_utils.h"
#include "zyra/memory.h"

namespace {

using parser_test::CountLogged;

unsigned char kSource[] = {'a', 'b', 'c', 0, 'd', 'e', 'f', 'g', 'h'};
constexpr unsigned int kSourceLength = sizeof(kSource);

TEST(ParameterUtilsRead, CopiesAreBoundedAndPositionsMoveByTheAlignedCount) {
    zyra_test::LogCapture capture;
    unsigned int position = 4;
    char text[5] = {'x', 'x', 'x', 'x', 'x'};
    // Five bytes asked, only four fit: the last byte of the destination is the terminator.
    EXPECT_TRUE(ParameterUtils::ReadString(text + 1, kSource, kSourceLength, &position, 4, 5, 8,
                                           nullptr));
    EXPECT_STREQ(text + 1, "def");
    EXPECT_EQ(position, 12u);
    // No room at all: nothing is written, not even a terminator.
    position = 0;
    EXPECT_TRUE(ParameterUtils::ReadString(text + 1, kSource, kSourceLength, &position, 0, 2, 1,
                                           nullptr));
    EXPECT_EQ(text[0], 'x');
    EXPECT_EQ(position, 2u);
    EXPECT_FALSE(ParameterUtils::ReadString(nullptr, kSource, kSourceLength, &position, 4, 3, 4,
                                            nullptr));
    EXPECT_EQ(position, 6u);

    unsigned char bytes[4] = {};
    position = 7;
    EXPECT_FALSE(
        ParameterUtils::ReadBuffer(bytes, kSource, kSourceLength, &position, 4, 4, nullptr));
    EXPECT_EQ(std::memcmp(bytes, "gh", 2), 0);
    EXPECT_EQ(position, 11u);
    position = 0;
    EXPECT_TRUE(
        ParameterUtils::ReadBuffer(bytes, kSource, kSourceLength, &position, 3, 0, nullptr));
    EXPECT_EQ(position, 0u);
    EXPECT_TRUE(ParameterUtils::ReadBuffer(bytes, nullptr, 0, &position, 0, 1, nullptr));
    EXPECT_FALSE(ParameterUtils::ReadBuffer(nullptr, kSource, kSourceLength, &position, 1, 1,
                                            nullptr));
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "ReadBuffer"), 4);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "read 2 bytes, expected 4 bytes"), 1);

    // The allocating form stops at the terminator or the end.
    position = 0;
    char* pText = ParameterUtils::ReadString(kSource, kSourceLength, &position, 6, 4);
    EXPECT_STREQ(pText, "abc");
    EXPECT_EQ(position, 8u);
    ZyraFree(pText);
    pText = ParameterUtils::ReadString(kSource, kSourceLength, &position, 20, 1);
    EXPECT_STREQ(pText, "h");
    EXPECT_EQ(position, 28u);
    ZyraFree(pText);
    position = 1;
    Zyra::Memory::FailNthAllocation(1);
    EXPECT_EQ(ParameterUtils::ReadString(kSource, kSourceLength, &position, 2, 1), nullptr);
    EXPECT_EQ(position, 1u);
    EXPECT_EQ(ParameterUtils::ReadString(nullptr, kSourceLength, &position, 2, 1), nullptr);
}

TEST(ParameterUtilsWrite, StringNeedsRoomBeyondItsTerminator) {
    zyra_test::LogCapture capture;
    unsigned char buffer[8];
    std::memset(buffer, '#', sizeof(buffer));
    unsigned int position = 1;
    EXPECT_TRUE(ParameterUtils::WriteString("abc", buffer, 6, &position, false, nullptr));
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(std::memcmp(buffer, "#abc\0#", 6), 0);
    EXPECT_TRUE(ParameterUtils::WriteString(nullptr, buffer, 6, &position, true, nullptr));
    EXPECT_EQ(position, 5u);
    EXPECT_FALSE(ParameterUtils::WriteString("xy", buffer, 7, &position, true, nullptr));
    EXPECT_FALSE(ParameterUtils::WriteString(nullptr, buffer, 6, &position, true, nullptr));
    EXPECT_EQ(position, 5u);
    EXPECT_FALSE(ParameterUtils::WriteString("a", nullptr, 6, &position, true, nullptr));
    EXPECT_FALSE(ParameterUtils::WriteString("a", buffer, 6, nullptr, true, nullptr));
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Insufficient space in buffer to write string"), 4);
}

TEST(ParameterUtilsText, StringToDoubleAcceptsOnlyPlainDecimals) {
    struct Case {
        const char* pText;
        double value;
        bool result;
    };
    const Case cases[] = {
        {"12.5", 12.5, true},  {"0.25", 0.25, true}, {".5", 0.5, true},   {"7.", 7.0, true},
        {"-3", -3.0, true},    {"12-34", -34, true}, {"1.2.3", 0, false}, {"1e3", 0, false},
        {"+1", 0, false},      {" 1", 0, false},     {"", 0, false},      {"1-2-3", 0, false},
    };
    for (const Case& c : cases) {
        bool result = !c.result;
        EXPECT_DOUBLE_EQ(ParameterUtils::StringToDouble(c.pText, result), c.value) << c.pText;
        EXPECT_EQ(result, c.result) << c.pText;
    }
    bool result = false;
    double minusAlone = ParameterUtils::StringToDouble("-", result);
    EXPECT_TRUE(result);
    EXPECT_TRUE(minusAlone == 0.0 && std::signbit(minusAlone));
    EXPECT_EQ(ParameterUtils::StringToDouble(nullptr, result), 0.0);
    EXPECT_FALSE(result);
}

TEST(ParameterUtilsText, GetVariableSplitsOneStepOfAFieldPath) {
    struct Case {
        const char* pPath;
        unsigned int consumed;
        const char* pName;
        unsigned int index;  // 77: left as it was
    };
    // A step ends at the first point, even inside brackets, and is cut at 7 characters here.
    const Case cases[] = {{"abc", 3, "abc", 77},        {"abc[12].d", 8, "abc", 12},
                          {"ab[", 3, "ab", 77},         {"v[2.9]", 4, "v", 2},
                          {"v[x]", 4, "v", 0},          {"v[-3]", 5, "v", 0},
                          {"longername.x", 11, "longern", 77}};
    for (const Case& c : cases) {
        char name[8];
        unsigned int index = 77;
        EXPECT_EQ(ParameterUtils::GetVariable(c.pPath, name, index, sizeof(name)), c.consumed)
            << c.pPath;
        EXPECT_STREQ(name, c.pName);
        EXPECT_EQ(index, c.index) << c.pPath;
    }
    char name[8];
    unsigned int index = 0;
    EXPECT_EQ(ParameterUtils::GetVariable(".x", name, index, sizeof(name)), 0u);
    EXPECT_EQ(ParameterUtils::GetVariable(nullptr, name, index, sizeof(name)), 0u);
    // Steps longer than 128 characters are cut there.
    EXPECT_EQ(ParameterUtils::GetVariable(std::string(200, 'a').c_str(), name, index,
                                          sizeof(name)),
              128u);
}

TEST(ParameterUtilsText, DoubleToStringWritesWhatATuningClientSees) {
    struct Case {
        double value;
        unsigned int size;
        unsigned int maxDecimals;
        const char* pText;
        bool result;
    };
    const Case cases[] = {
        {0.5, 32, 3, "0.5", true},      {3.0, 32, 10, "3.0", true},
        {7.0, 32, 0, "7", true},        {9.999, 32, 2, "10.0", true},
        {-9.96, 32, 1, "-10.0", true},  {0.96, 32, 1, "1.0", true},
        {100.0, 32, 0, "100", true},    {-2.5, 32, 4, "-2.5", true},
        {0.0, 32, 10, "0.0", true},     {2.75, 32, 1, "2.7", true},
        {12345.0, 3, 2, "12", false},
        {3.0, 3, 2, "3", true},         {-7.0, 2, 0, "-", false},
    };
    for (const Case& c : cases) {
        char text[40];
        std::memset(text, '#', sizeof(text));
        bool result = !c.result;
        ParameterUtils::DoubleToString(c.value, text, c.size, c.maxDecimals, result);
        EXPECT_STREQ(text, c.pText) << c.value;
        EXPECT_EQ(result, c.result) << c.value;
        EXPECT_EQ(text[c.size], '#') << c.value;
    }
    bool result = true;
    ParameterUtils::DoubleToString(1.0, nullptr, 8, 2, result);
    EXPECT_FALSE(result);
}

}  // namespace
