// The two log forms of the PD front: what reaches the stats logger and Zyra::Log, the level
// gates of the direct form, and the trace echo of its errors.
#include "pdfront/pd_logging.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "pd_test_support.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;

int g_evaluations = 0;
int Counted(int value) {
    ++g_evaluations;
    return value;
}

void EmitStats() { PD_STATS_LOG(Zyra::PDFront::kStatsLevelInfo, 256, "CID:[%d] value %d", 3); }
void EmitStatsWithoutArguments() { PD_STATS_LOG(2, 972, "CID:[%d] Invalid Algo interface"); }
void EmitError() { PD_LOG_ERROR(728, "cameraId %d PDLIB1 entry function Not found ", Counted(4)); }
void EmitErrorWithoutArguments() { PD_LOG_ERROR(1051, "Invalid argument: pCallBacks is NULL"); }
void EmitWarn() { PD_LOG_WARN(738, "Unable to create instance of algorithm: %d", Counted(9)); }
void EmitInfo() { PD_LOG_INFO(706, "Loading PDLib %s for cameraId %d", "lib", Counted(2)); }
void EmitVerb() { PD_LOG_VERB(129, "Loaded Algorithm Lib: %s", "x"); }
void EmitLongError() { PD_LOG_ERROR(1, "%s", std::string(600, 'e').c_str()); }

using PdLoggingTest = PdFrontTest;

TEST_F(PdLoggingTest, StatsFormPassesFileLineFunctionGroupLevelAndCameraIdFirst) {
    EmitStats();
    EmitStatsWithoutArguments();
    const auto& lines = m_stats.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].file, __FILE__);
    EXPECT_EQ(lines[0].line, 256u);
    EXPECT_EQ(lines[0].function, "EmitStats");
    EXPECT_EQ(lines[0].group, 4u);
    EXPECT_EQ(lines[0].level, 32u);
    EXPECT_EQ(lines[0].text, "CID:[7] value 3");
    EXPECT_EQ(lines[1].level, 2u);
    EXPECT_EQ(lines[1].text, "CID:[7] Invalid Algo interface");
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PdLoggingTest, CameraIdStartsAsMinusOneOnEveryThread) {
    uint32_t seen = 0;
    std::thread([&seen] { seen = g_cameraId; }).join();
    EXPECT_EQ(seen, 0xFFFFFFFFu);
    std::thread([] { EmitStatsWithoutArguments(); }).join();
    EXPECT_THAT(m_stats.Texts(), ElementsAre("CID:[-1] Invalid Algo interface"));
}

TEST_F(PdLoggingTest, DirectFormSpellsThePrefixWithTheLiteralLine) {
    EmitVerb();
    EmitInfo();
    EmitWarn();
    g_evaluations = 0;
    EmitError();
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].text,
              Direct("[ VERB]", "pd_logging_test.cpp", 129, "EmitVerb", "Loaded Algorithm Lib: x"));
    EXPECT_EQ(lines[1].text, Direct("[ INFO]", "pd_logging_test.cpp", 706, "EmitInfo",
                                    "Loading PDLib lib for cameraId 2"));
    EXPECT_EQ(lines[2].text, Direct("[ WARN]", "pd_logging_test.cpp", 738, "EmitWarn",
                                    "Unable to create instance of algorithm: 9"));
    EXPECT_EQ(lines[3].text, Direct("[ERROR]", "pd_logging_test.cpp", 728, "EmitError",
                                    "cameraId 4 PDLIB1 entry function Not found "));
    const char* levels[] = {"V", "I", "W", "E"};
    const uint32_t indexes[] = {5, 4, 2, 1};
    for (size_t index = 0; index < lines.size(); ++index) {
        EXPECT_EQ(lines[index].group, 0x8000000u);
        EXPECT_EQ(lines[index].level, levels[index]);
        EXPECT_EQ(lines[index].levelIndex, indexes[index]);
    }
    EXPECT_EQ(g_evaluations, 1);  // trace off: the error's arguments are computed once
    EXPECT_TRUE(m_log.Trace().empty());
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PdLoggingTest, ClosedLevelsLogNothingAndComputeNoArgument) {
    CloseDirectLevels();
    // Every other group open at every level: only bit 27 counts.
    for (uint64_t& mask : Zyra::g_logInfo) {
        mask = ~uint64_t{0x8000000};
    }
    g_evaluations = 0;
    EmitWarn();
    EmitInfo();
    EmitVerb();
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_EQ(g_evaluations, 0);

    EmitError();  // errors have no gate
    EXPECT_EQ(m_log.Lines().size(), 1u);
    EXPECT_EQ(g_evaluations, 1);
}

TEST_F(PdLoggingTest, EachLevelOpensOnBit27OfItsOwnMaskWord) {
    CloseDirectLevels();
    Zyra::g_logInfo[2] = 0x8000000;
    EmitWarn();
    EmitInfo();
    EmitVerb();
    Zyra::g_logInfo[2] = 0;
    Zyra::g_logInfo[4] = 0x8000000;
    EmitWarn();
    EmitInfo();
    EmitVerb();
    Zyra::g_logInfo[4] = 0;
    Zyra::g_logInfo[5] = 0x8000000;
    EmitWarn();
    EmitInfo();
    EmitVerb();
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].level, "W");
    EXPECT_EQ(lines[1].level, "I");
    EXPECT_EQ(lines[2].level, "V");
}

TEST_F(PdLoggingTest, ErrorsAreEchoedToTheTraceWithoutThePrefixFields) {
    EnableTrace();
    EmitError();
    EmitErrorWithoutArguments();
    EmitWarn();  // only errors go to the trace
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]cameraId 4 PDLIB1 entry function Not found ", "<end>",
                            "[ERROR]Invalid argument: pCallBacks is NULL", "<end>"));
}

TEST_F(PdLoggingTest, TraceEchoNeedsEnabledOneAndBit27) {
    Zyra::g_traceInfo.groupMask = ~uint64_t{0x8000000};
    Zyra::g_traceInfo.enabled = 1;
    EmitErrorWithoutArguments();
    Zyra::g_traceInfo.groupMask = 0x8000000;
    Zyra::g_traceInfo.enabled = 2;
    EmitErrorWithoutArguments();
    Zyra::g_traceInfo.enabled = 0;
    EmitErrorWithoutArguments();
    EXPECT_TRUE(m_log.Trace().empty());
    EXPECT_EQ(m_log.Lines().size(), 3u);
}

TEST_F(PdLoggingTest, TraceTextIsTruncatedTo512Bytes) {
    EnableTrace();
    EmitLongError();
    const auto trace = m_log.Trace();
    ASSERT_EQ(trace.size(), 2u);
    EXPECT_EQ(trace[0], "[ERROR]" + std::string(511 - 7, 'e'));
}

}  // namespace
}  // namespace pd_test
