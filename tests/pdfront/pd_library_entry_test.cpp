// The two log forms, the exported entry and the fan-out of the table operations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <tuple>

#include "pd_test_support.h"
#include "pdfront/pd_logging.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;

constexpr uint64_t kGroupBit = 0x8000000;

int g_evaluations = 0;
int Counted(int value) {
    ++g_evaluations;
    return value;
}

void EmitAll() {
    PD_LOG_WARN(738, "Unable to create instance of algorithm: %d", Counted(9));
    PD_LOG_INFO(706, "Loading PDLib %s for cameraId %d", "lib", Counted(2));
    PD_LOG_VERB(129, "Loaded Algorithm Lib: %d", Counted(1));
    PD_LOG_ERROR(728, "cameraId %d PDLIB1 entry function Not found ", 4);
}

using PdLoggingTest = PdFrontTest;

TEST_F(PdLoggingTest, DirectLevelsOpenOnBit27OfTheirWordAndOnlyErrorsGoToTheTrace) {
    EmitAll();  // all open until the stack has filled the masks
    ASSERT_EQ(m_log.Lines().size(), 4u);
    EXPECT_EQ(m_log.Lines()[2].levelIndex, 5u);
    EXPECT_EQ(m_log.Texts()[0], Direct("[ WARN]", "pd_library_entry_test.cpp", 738, "EmitAll",
                                       "Unable to create instance of algorithm: 9"));

    // Once the stack has filled the masks, a level opens on bit 27 of its own word only, and
    // arguments of a closed level are not evaluated. Only errors go to the trace, when it is
    // on for the group, without the prefix fields.
    const std::tuple<int, const char*, Zyra::TraceInfo> gates[] = {
        {-1, "E", {kGroupBit, 1, 0}}, {1, "E", {}}, {2, "WE", {~kGroupBit, 1, 0}},
        {4, "IE", {kGroupBit, 2, 0}}, {5, "VE", {}}};
    for (const auto& [openWord, pLetters, trace] : gates) {
        std::fill(std::begin(Zyra::g_logInfo), std::end(Zyra::g_logInfo), ~kGroupBit);
        Zyra::g_logInfoUpdated = 1;
        if (openWord >= 0) {
            Zyra::g_logInfo[openWord] = kGroupBit;
        }
        Zyra::g_traceInfo = trace;
        m_log.Clear();
        g_evaluations = 0;
        EmitAll();
        std::string letters;
        for (const auto& line : m_log.Lines()) {
            letters += line.level;
        }
        EXPECT_EQ(letters, pLetters) << "word " << openWord;
        EXPECT_EQ(g_evaluations + 1, static_cast<int>(letters.size())) << "word " << openWord;
        EXPECT_EQ(m_log.Trace().size(), openWord == -1 ? 2u : 0u) << "word " << openWord;
    }
    m_log.Clear();
    EnableTrace();
    PD_LOG_ERROR(1, "%s", std::string(600, 'e').c_str());  // the echo is cut to 512 bytes
    EXPECT_THAT(m_log.Trace(), ElementsAre("[ERROR]" + std::string(511 - 7, 'e'), "<end>"));
}

std::string Entry(const char* pPrefix, uint32_t line, const std::string& message) {
    return Direct(pPrefix, "pd_library_entry.cpp", line, "VexPDLibraryEntry", message);
}

using VexPDLibraryEntryTest = PdFrontTest;

TEST_F(VexPDLibraryEntryTest, FillsTablesOfAtLeast48BytesAndNothingElse) {
    for (uint32_t size : {47u, 48u, 0xFFFFFFFFu}) {
        m_log.Clear();
        PDLibraryCallbacks table;
        std::memset(&table, 0xA5, sizeof(table));
        table.size = size;
        const PDLibraryCallbacks before = table;
        VexPDLibraryEntry(&table);
        // Past the size and the word at 8: untouched when too small, else the four operations.
        EXPECT_EQ(std::memcmp(&table, &before, size < 48 ? sizeof(table) : 16), 0) << size;
        EXPECT_EQ(m_log.Texts().front(), Entry("[ INFO]", 1028, "VexPDLibraryEntry"));
        EXPECT_EQ(m_log.Texts().back(),
                  size < 48 ? Entry("[ERROR]", 1055, "pCallBacks is smaller than expected")
                            : Entry("[ VERB]", 1074, "VexPDLibraryEntry enable2PDLibsMask 0"));
        if (size >= 48) {
            EXPECT_EQ(table.pfnGetCapabilities, &PDWrapperGetCapabilities);
            EXPECT_EQ(table.pfnQueryVendorTag, &PDWrapperQueryVendorTag);
            EXPECT_EQ(table.pfnCreate, &CreatePDLibWrapper);  // one algorithm library per camera
            EXPECT_EQ(table.pfnSetNodeInterface, &PDWrapperSetNodeInterface);
        }
    }
    m_log.Clear();
    Zyra::g_logInfoUpdated = 1;  // every level closed but the error
    VexPDLibraryEntry(nullptr);
    EXPECT_THAT(m_log.Texts(),
                ElementsAre(Entry("[ERROR]", 1051, "Invalid argument: pCallBacks is NULL")));
}

// The fan-outs, watched through functions placed in the slots.
Texts g_fanOutCalls;

template <int Tag>
void Fill(PDLibWrapperSlot& slot) {
    slot.callbacks.pfnQueryVendorTag = [](void*) -> uint32_t {
        g_fanOutCalls.push_back("query " + std::to_string(Tag));
        return Tag;  // not 0: what the fan-out is answered is ignored
    };
    slot.callbacks.pfnSetNodeInterface = [](void*) {
        g_fanOutCalls.push_back("set " + std::to_string(Tag));
    };
}

TEST_F(VexPDLibraryEntryTest, FanOutsVisitAllTwentySlotsInCameraOrderFirstTableFirst) {
    int argument = 0;
    EXPECT_EQ(PDWrapperGetCapabilities(&argument), 0u);
    // The second table's camera 4 has no query operation.
    Fill<1>(g_PDLibWrapper[9]);
    Fill<3>(g_PDLibWrapper2[4]);
    g_PDLibWrapper2[4].callbacks.pfnQueryVendorTag = nullptr;
    Fill<4>(g_PDLibWrapper[6]);
    Fill<2>(g_PDLibWrapper2[0]);
    EXPECT_EQ(PDWrapperQueryVendorTag(&argument), 0u);
    PDWrapperSetNodeInterface(&argument);
    EXPECT_THAT(g_fanOutCalls, ElementsAre("query 2", "query 4", "query 1", "set 2", "set 3",
                                           "set 4", "set 1"));
    g_fanOutCalls.clear();
    EXPECT_EQ(PDWrapperQueryVendorTag(nullptr), 0u);
    PDWrapperSetNodeInterface(nullptr);
    EXPECT_TRUE(g_fanOutCalls.empty());
    std::thread([] { PDWrapperSetNodeInterface(nullptr); }).join();  // g_cameraId starts as -1
    EXPECT_THAT(TakeStats(), ElementsAre("4 1008 CID:[7] Invalid pQueryVendorTag pointer",
                                         "4 972 CID:[7] Invalid Algo interface",
                                         "4 972 CID:[-1] Invalid Algo interface"));
}

// Until the host installs its logger, stats messages go to the common log under the PD
// front's group, their level told by the letter.
TEST_F(VexPDLibraryEntryTest, DefaultStatsLoggerWritesToTheCommonLog) {
    g_statsLogger = g_hostLogger;
    PDWrapperQueryVendorTag(nullptr);
    Zyra::IsCameraIDValid(10);
    g_statsLogger("x.cpp", 1, "F", 4, 32, "CID:[%d] progress", 3);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].group, kGroupBit);
    EXPECT_EQ(lines[0].text,
              "[STATS 4] pd_library_entry.cpp:1008 PDWrapperQueryVendorTag() CID:[7] Invalid "
              "pQueryVendorTag pointer");
    EXPECT_EQ(lines[0].level + lines[1].level + lines[2].level, "WEV");
}

}  // namespace
}  // namespace pd_test
