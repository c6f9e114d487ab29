// The exported entry, the three table operations of the front and the fan-out
// over both slot tables.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "pd_test_support.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr const char* kFile = "pd_library_entry.cpp";

PDLibraryCallbacks PatternTable(uint32_t size) {
    PDLibraryCallbacks table;
    std::memset(&table, 0xA5, sizeof(table));
    table.size = size;
    table.reserved0 = 0x11223344;
    table.pReserved = reinterpret_cast<void*>(uintptr_t{0x5A5A0000});
    return table;
}

// ---------------------------------------------------------------------------------------
// VexPDLibraryEntry

using VexPDLibraryEntryTest = PdFrontTest;

TEST_F(VexPDLibraryEntryTest, FillsTheFourOperationsOfATableOf48Bytes) {
    PDLibraryCallbacks table = PatternTable(48);
    VexPDLibraryEntry(&table);
    EXPECT_EQ(table.size, 48u);
    EXPECT_EQ(table.reserved0, 0x11223344u);
    EXPECT_EQ(table.pReserved, reinterpret_cast<void*>(uintptr_t{0x5A5A0000}));
    EXPECT_EQ(table.pfnGetCapabilities, &PDWrapperGetCapabilities);
    EXPECT_EQ(table.pfnQueryVendorTag, &PDWrapperQueryVendorTag);
    EXPECT_EQ(table.pfnCreate, &CreatePDLibWrapper);  // enable2PDLibsMask is 0
    EXPECT_EQ(table.pfnSetNodeInterface, &PDWrapperSetNodeInterface);

    EXPECT_THAT(m_log.Texts(), ElementsAre(Direct("[ INFO]", kFile, 1028, "VexPDLibraryEntry",
                                                  "VexPDLibraryEntry"),
                                           Direct("[ VERB]", kFile, 1074, "VexPDLibraryEntry",
                                                  "VexPDLibraryEntry enable2PDLibsMask 0")));
    EXPECT_TRUE(m_log.Trace().empty());
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(VexPDLibraryEntryTest, SizeIsTestedAsUnsignedAndLargerTablesAreFilled) {
    for (uint32_t size : {49u, 4096u, 0x80000000u, 0xFFFFFFFFu}) {
        PDLibraryCallbacks table = PatternTable(size);
        VexPDLibraryEntry(&table);
        EXPECT_EQ(table.size, size);
        EXPECT_EQ(table.pfnCreate, &CreatePDLibWrapper) << size;
    }
}

TEST_F(VexPDLibraryEntryTest, LeavesATableOf47BytesUntouched) {
    EnableTrace();
    for (uint32_t size : {47u, 0u}) {
        m_log.Clear();
        PDLibraryCallbacks table = PatternTable(size);
        const PDLibraryCallbacks before = table;
        VexPDLibraryEntry(&table);
        EXPECT_EQ(std::memcmp(&table, &before, sizeof(table)), 0) << size;
        EXPECT_THAT(m_log.Texts(), ElementsAre(Direct("[ INFO]", kFile, 1028, "VexPDLibraryEntry",
                                                      "VexPDLibraryEntry"),
                                               Direct("[ERROR]", kFile, 1055, "VexPDLibraryEntry",
                                                      "pCallBacks is smaller than expected")));
        EXPECT_THAT(m_log.Trace(),
                    ElementsAre("[ERROR]pCallBacks is smaller than expected", "<end>"));
    }
}

TEST_F(VexPDLibraryEntryTest, NullTableIsAnErrorWithTraceEcho) {
    EnableTrace();
    VexPDLibraryEntry(nullptr);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Direct("[ INFO]", kFile, 1028, "VexPDLibraryEntry",
                                                  "VexPDLibraryEntry"),
                                           Direct("[ERROR]", kFile, 1051, "VexPDLibraryEntry",
                                                  "Invalid argument: pCallBacks is NULL")));
    EXPECT_THAT(m_log.Trace(), ElementsAre("[ERROR]Invalid argument: pCallBacks is NULL", "<end>"));
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(VexPDLibraryEntryTest, ClosedLevelsLeaveOnlyTheError) {
    CloseDirectLevels();
    PDLibraryCallbacks table = PatternTable(48);
    VexPDLibraryEntry(&table);
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_EQ(table.pfnCreate, &CreatePDLibWrapper);

    VexPDLibraryEntry(nullptr);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Direct("[ERROR]", kFile, 1051, "VexPDLibraryEntry",
                                                  "Invalid argument: pCallBacks is NULL")));
    EXPECT_TRUE(m_log.Trace().empty());  // trace off
}

// ---------------------------------------------------------------------------------------
// The table operations on a fresh library

using TableOperationsTest = PdFrontTest;

TEST_F(TableOperationsTest, GetCapabilitiesAnswersZeroWhateverItIsPassed) {
    int anything = 0;
    EXPECT_EQ(PDWrapperGetCapabilities(nullptr), 0u);
    EXPECT_EQ(PDWrapperGetCapabilities(&anything), 0u);
    EXPECT_EQ(PDWrapperGetCapabilities(reinterpret_cast<void*>(uintptr_t{1})), 0u);
    EXPECT_TRUE(m_stats.Lines().empty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(TableOperationsTest, FanOutsOnAFreshLibraryCallNothing) {
    int tag = 0;
    EXPECT_EQ(PDWrapperQueryVendorTag(&tag), 0u);
    PDWrapperSetNodeInterface(&tag);
    EXPECT_TRUE(m_stats.Lines().empty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(TableOperationsTest, NullArgumentsOfTheFanOutsLogAtLevel4) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo("com.ovi.stats.pdlib");
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = nullptr;
    ASSERT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(0).Get()), 0u);
    m_stats.Clear();

    EXPECT_EQ(PDWrapperQueryVendorTag(nullptr), 0u);
    PDWrapperSetNodeInterface(nullptr);
    const auto& lines = m_stats.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "CID:[7] Invalid pQueryVendorTag pointer");
    EXPECT_EQ(lines[0].line, 1008u);
    EXPECT_EQ(lines[0].function, "PDWrapperQueryVendorTag");
    EXPECT_EQ(lines[1].text, "CID:[7] Invalid Algo interface");
    EXPECT_EQ(lines[1].line, 972u);
    EXPECT_EQ(lines[1].function, "PDWrapperSetNodeInterface");
    for (const StatsLine& line : lines) {
        EXPECT_EQ(line.group, 4u);
        EXPECT_EQ(line.level, 4u);
        EXPECT_NE(line.file.find("pd_library_entry.cpp"), std::string::npos);
    }
    EXPECT_EQ(pControl->queryVendorTagCalls, 0u);
    EXPECT_EQ(pControl->setNodeInterfaceCalls, 0u);
}

// ---------------------------------------------------------------------------------------
// Fan-out over the slot tables

struct FanOutCall {
    uint32_t tag;
    uint32_t event;
    const void* pArg;
    bool operator==(const FanOutCall& other) const {
        return tag == other.tag && event == other.event && pArg == other.pArg;
    }
};

void PrintTo(const FanOutCall& call, std::ostream* pOut) {
    *pOut << "{tag " << call.tag << ", event " << call.event << ", " << call.pArg << "}";
}

class FanOutTest : public PdFrontTest {
protected:
    static void Observe(void* pContext, uint32_t tag, uint32_t event, const void* pArg) {
        static_cast<FanOutTest*>(pContext)->m_calls.push_back({tag, event, pArg});
    }

    // A new fake library whose table operations report to this test under `tag`.
    fake_pd::Control* Library(uint32_t tag) {
        fake_pd::Control* pControl = m_sysroot.InstallAlgo("fanout" + std::to_string(tag));
        if (pControl != nullptr) {
            pControl->tag = tag;
            pControl->pObserver = &FanOutTest::Observe;
            pControl->pObserverContext = this;
        }
        return pControl;
    }

    // Fills `slot` as the front does: the library's entry fills the table.
    static void Fill(PDLibWrapperSlot& slot, const std::string& path) {
        slot.libHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(slot.libHandle, nullptr);
        auto pEntry =
            reinterpret_cast<PFNPDLibraryEntry>(dlsym(slot.libHandle, "VexPDLibraryEntry"));
        ASSERT_NE(pEntry, nullptr);
        slot.callbacks.size = sizeof(PDLibraryCallbacks);
        pEntry(&slot.callbacks);
    }

    std::string PathOf(uint32_t tag) const {
        return m_sysroot.Root() + kComponentsFolder + "fanout" + std::to_string(tag) + ".so.0";
    }

    std::vector<FanOutCall> TableCalls() const {
        std::vector<FanOutCall> calls;
        for (const FanOutCall& call : m_calls) {
            if (call.event != fake_pd::kEventEntry) {
                calls.push_back(call);
            }
        }
        return calls;
    }

    FakeSysroot m_sysroot;
    std::vector<FanOutCall> m_calls;
};

TEST_F(FanOutTest, CameraCreatedOnTheFirstTableOnlyIsCalledOnce) {
    fake_pd::Control* pControl = m_sysroot.InstallAlgo("com.ovi.stats.pdlib");
    ASSERT_NE(pControl, nullptr);
    pControl->tag = 3;
    pControl->pObserver = &FanOutTest::Observe;
    pControl->pObserverContext = this;
    VEXPDLib* pInstance = nullptr;
    ASSERT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(3).Get()), 0u);
    m_calls.clear();

    int vendorTag = 0;
    int nodeInterface = 0;
    EXPECT_EQ(PDWrapperQueryVendorTag(&vendorTag), 0u);
    PDWrapperSetNodeInterface(&nodeInterface);
    EXPECT_THAT(m_calls,
                ElementsAre(FanOutCall{3, fake_pd::kEventQueryVendorTag, &vendorTag},
                            FanOutCall{3, fake_pd::kEventSetNodeInterface, &nodeInterface}));
    EXPECT_EQ(pControl->getCapabilitiesCalls, 0u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(FanOutTest, VisitsAllTwentySlotsInCameraOrderFirstTableFirst) {
    // Library 1 serves cameras 0 and 9 of the first table, so it is called twice per call.
    // Library 2 serves camera 0 of the second table, library 3 camera 4 of the second table,
    // library 4 camera 6 of the first table; all other slots are zero and skipped.
    for (uint32_t tag = 1; tag <= 4; ++tag) {
        ASSERT_NE(Library(tag), nullptr);
    }
    Fill(g_PDLibWrapper[9], PathOf(1));
    Fill(g_PDLibWrapper2[4], PathOf(3));
    Fill(g_PDLibWrapper[0], PathOf(1));
    Fill(g_PDLibWrapper[6], PathOf(4));
    Fill(g_PDLibWrapper2[0], PathOf(2));
    m_calls.clear();

    int vendorTag = 0;
    EXPECT_EQ(PDWrapperQueryVendorTag(&vendorTag), 0u);
    const uint32_t kQuery = fake_pd::kEventQueryVendorTag;
    EXPECT_THAT(TableCalls(), ElementsAreArray(std::vector<FanOutCall>{
                                  {1, kQuery, &vendorTag},  // camera 0, table 1
                                  {2, kQuery, &vendorTag},  // camera 0, table 2
                                  {3, kQuery, &vendorTag},  // camera 4, table 2
                                  {4, kQuery, &vendorTag},  // camera 6, table 1
                                  {1, kQuery, &vendorTag},  // camera 9, table 1
                              }));

    m_calls.clear();
    int nodeInterface = 0;
    PDWrapperSetNodeInterface(&nodeInterface);
    const uint32_t kSet = fake_pd::kEventSetNodeInterface;
    EXPECT_THAT(TableCalls(), ElementsAreArray(std::vector<FanOutCall>{
                                  {1, kSet, &nodeInterface},
                                  {2, kSet, &nodeInterface},
                                  {3, kSet, &nodeInterface},
                                  {4, kSet, &nodeInterface},
                                  {1, kSet, &nodeInterface},
                              }));
}

TEST_F(FanOutTest, ResultsOfTheLibrariesAreIgnored) {
    // An operation that answers failure does not change the fan-out's answer or its walk.
    ASSERT_NE(Library(1), nullptr);
    ASSERT_NE(Library(2), nullptr);
    Fill(g_PDLibWrapper[1], PathOf(1));
    Fill(g_PDLibWrapper[2], PathOf(2));
    g_PDLibWrapper[1].callbacks.pfnQueryVendorTag = [](void*) -> uint32_t { return 1; };
    m_calls.clear();
    int vendorTag = 0;
    EXPECT_EQ(PDWrapperQueryVendorTag(&vendorTag), 0u);
    EXPECT_THAT(TableCalls(),
                ElementsAre(FanOutCall{2, fake_pd::kEventQueryVendorTag, &vendorTag}));
}

TEST_F(FanOutTest, SlotWithoutQueryVendorTagIsSkippedButItsSetNodeInterfaceCalled) {
    fake_pd::Control* pControl = Library(5);
    ASSERT_NE(pControl, nullptr);
    pControl->fillQueryVendorTag = false;
    Fill(g_PDLibWrapper2[2], PathOf(5));
    ASSERT_EQ(g_PDLibWrapper2[2].callbacks.pfnQueryVendorTag, nullptr);
    m_calls.clear();

    int argument = 0;
    EXPECT_EQ(PDWrapperQueryVendorTag(&argument), 0u);
    PDWrapperSetNodeInterface(&argument);
    EXPECT_THAT(TableCalls(),
                ElementsAre(FanOutCall{5, fake_pd::kEventSetNodeInterface, &argument}));
    EXPECT_EQ(pControl->queryVendorTagCalls, 0u);
    EXPECT_EQ(pControl->setNodeInterfaceCalls, 1u);
}

}  // namespace
}  // namespace pd_test
