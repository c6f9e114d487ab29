#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "log_capture.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_logging_api.h"

namespace {

class TestLogger : public IParameterLoggingAPI {
public:
    explicit TestLogger(const char* pIdentifier) : m_pIdentifier(pIdentifier) {}
    const char* GetLoggingIdentifier() override { return m_pIdentifier; }
    bool LoggingEnabled(ParameterLogging::ParameterLogLevel level) override {
        asked.push_back(level);
        return level != ParameterLogging::Debug;
    }
    std::string Address() {
        char text[32];
        std::snprintf(text, sizeof(text), "%p", static_cast<void*>(this));
        return text;
    }

    std::vector<int> asked;

private:
    const char* m_pIdentifier;
};

TEST(ParameterLogging, WritesTheThreeFormsWithTheLevelTagsAndOnlyEnabledLevels) {
    zyra_test::LogCapture capture;
    TestLogger anonymous(nullptr);
    TestLogger named("TAG_1");
    ParameterLogging::Write(nullptr, ParameterLogging::Error, "src/a.cpp", 12, "n=%d\n", 5);
    ParameterLogging::Write(&anonymous, ParameterLogging::Warning, "b.cpp", 3, "%s", "w");
    ParameterLogging::Write(&named, static_cast<ParameterLogging::ParameterLogLevel>(7), nullptr,
                            9, "odd level");

    auto lines = capture.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].text, "[ERROR] ParameterParser: a.cpp:12: n=5\n");
    EXPECT_EQ(lines[0].level, "E");
    EXPECT_EQ(lines[0].levelIndex, 1u);
    EXPECT_EQ(lines[1].text, "[WARNING] ParameterParser: " + anonymous.Address() + " b.cpp:3: w");
    EXPECT_EQ(lines[1].level, "W");
    EXPECT_EQ(lines[1].levelIndex, 2u);
    EXPECT_EQ(lines[2].text, "[DEBUG] ParameterParser: " + named.Address() +
                                 " (TAG_1): FileNameIsNULL:9: odd level");
    EXPECT_EQ(lines[2].level, "D");
    EXPECT_EQ(lines[2].levelIndex, 0u);
    for (const auto& line : lines) {
        EXPECT_EQ(line.group, 0x1000u);
    }

    // A level the logger switched off writes nothing.
    capture.Clear();
    named.asked.clear();
    ParameterLogging::Write(&named, ParameterLogging::Debug, __FILE__, __LINE__, "hidden %d", 1);
    EXPECT_TRUE(capture.Lines().empty());
    EXPECT_EQ(named.asked, (std::vector<int>{ParameterLogging::Debug}));
}

}  // namespace
