// Loading of the algorithm libraries, CreatePDLibWrapper and the two-library
// create CreatePDLibWrapperHandleMultiPDLib.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "pd_test_support.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;

constexpr const char* kFile = "pd_library_loader.cpp";
constexpr const char* kDefaultName = "com.ovi.stats.pdlib";
constexpr const char* kStaticName = "com.ovistatic.stats.pdlib";

VEXPDLib* const kUntouched = reinterpret_cast<VEXPDLib*>(uintptr_t{0xDEAD0});

std::string Loaded(const std::string& path, const char* pEntry = "VexPDLibraryEntry") {
    return Direct("[ VERB]", kFile, 129, "LoadPDLib",
                  "Loaded Algorithm Lib: " + path + " Entry function " + pEntry);
}

std::string Components(const std::string& name) {
    return std::string(kComponentsFolder) + name + ".so.0";
}

bool SlotIsZero(const PDLibWrapperSlot& slot) {
    static const PDLibWrapperSlot zero{};
    return std::memcmp(&slot, &zero, sizeof(slot)) == 0;
}

bool AllSlotsZero() {
    for (uint32_t index = 0; index < Zyra::MaxNumCameras; ++index) {
        if (!SlotIsZero(g_PDLibWrapper[index]) || !SlotIsZero(g_PDLibWrapper2[index])) {
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------------------
// Zyra::LoadPDLib

using LoadPDLibTest = PdFrontTest;

TEST_F(LoadPDLibTest, MapsTheComponentsFolderFirstAndAnswersTheEntryAddress) {
    FakeSysroot sysroot;
    const std::string path = sysroot.Install(kComponentsFolder, "algo");
    sysroot.Install(kVendorFolder, "algo");
    void* pHandle = nullptr;
    void* pEntry =
        Zyra::LoadPDLib(&pHandle, "/usr/lib/camera/components/", "algo", "VexPDLibraryEntry");
    ASSERT_NE(pHandle, nullptr);
    EXPECT_EQ(pEntry, dlsym(pHandle, "VexPDLibraryEntry"));
    void* pExpected = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(pHandle, pExpected);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components("algo"))));
}

TEST_F(LoadPDLibTest, FallsBackToTheVendorFolderWithADoubledSeparator) {
    FakeSysroot sysroot;
    const std::string path = sysroot.Install(kVendorFolder, "vendoralgo");
    void* pHandle = nullptr;
    void* pEntry =
        Zyra::LoadPDLib(&pHandle, "/usr/lib/camera/components/", "vendoralgo", "VexPDLibraryEntry");
    ASSERT_NE(pEntry, nullptr);
    EXPECT_EQ(pHandle, dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded("/usr/lib//vendoralgo.so.0")));
}

TEST_F(LoadPDLibTest, MissingLibraryAnswersNullSilently) {
    FakeSysroot sysroot;
    void* pHandle = reinterpret_cast<void*>(uintptr_t{1});
    EXPECT_EQ(
        Zyra::LoadPDLib(&pHandle, "/usr/lib/camera/components/", "absent", "VexPDLibraryEntry"),
        nullptr);
    EXPECT_EQ(pHandle, nullptr);
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(LoadPDLibTest, MissingSymbolKeepsTheHandle) {
    FakeSysroot sysroot;
    sysroot.Install(kComponentsFolder, "noentry", Module::kNoEntry);
    void* pHandle = nullptr;
    EXPECT_EQ(
        Zyra::LoadPDLib(&pHandle, "/usr/lib/camera/components/", "noentry", "VexPDLibraryEntry"),
        nullptr);
    EXPECT_NE(pHandle, nullptr);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components("noentry"))));
}

TEST_F(LoadPDLibTest, PathAndEntryNameComeFromTheArguments) {
    FakeSysroot sysroot;
    sysroot.Install("/opt/algos/", "named");
    void* pHandle = nullptr;
    EXPECT_NE(Zyra::LoadPDLib(&pHandle, "/opt/algos/", "named", "FakePdAlgo_Control"), nullptr);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded("/opt/algos/named.so.0", "FakePdAlgo_Control")));
}

TEST_F(LoadPDLibTest, NullArgumentsFindNothing) {
    void* pHandle = nullptr;
    EXPECT_EQ(Zyra::LoadPDLib(nullptr, "/usr/lib/", "x", "VexPDLibraryEntry"), nullptr);
    EXPECT_EQ(Zyra::LoadPDLib(&pHandle, nullptr, "x", "VexPDLibraryEntry"), nullptr);
    EXPECT_EQ(Zyra::LoadPDLib(&pHandle, "/usr/lib/", nullptr, "VexPDLibraryEntry"), nullptr);
    EXPECT_EQ(Zyra::LoadPDLib(&pHandle, "/usr/lib/", "x", nullptr), nullptr);
    EXPECT_EQ(pHandle, nullptr);
}

// ---------------------------------------------------------------------------------------
// CreatePDLibWrapper: reading the list

using CreatePDLibWrapperTest = PdFrontTest;

TEST_F(CreatePDLibWrapperTest, EmptyOrNullListAnswersZeroAndLoadsNothing) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = kUntouched;
    PDLibCameraInfo camera{};
    PDLibParamEntry entry{PDLibCreateParamTypeCameraInfo, &camera, sizeof(camera)};
    PDLibCreateParamList countZero{&entry, 0};
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, &countZero), 0u);
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, nullptr), 0u);
    PDLibCreateParamList nullEntries{nullptr, 3};
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, &nullEntries), 0u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_TRUE(AllSlotsZero());
    EXPECT_EQ(pControl->entryCalls, 0u);
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(CreatePDLibWrapperTest, DefaultNameLoadsAndHandsTheAlgorithmsInstanceBack) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = nullptr;
    CreateParamList list;
    list.Camera(2);
    const PDLibCreateParamList* pList = list.Get();
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, pList), 0u);

    ASSERT_NE(pInstance, nullptr);
    EXPECT_EQ(pInstance, &pControl->instances[0].ops);
    EXPECT_EQ(pControl->entryCalls, 1u);
    EXPECT_EQ(pControl->entrySizeSeen, 48u);
    EXPECT_EQ(pControl->entryReservedSeen, nullptr);  // the slot was zeroed first
    EXPECT_EQ(pControl->createCalls, 1u);
    EXPECT_EQ(pControl->lastCreateOut, &pInstance);  // both arguments passed as they came
    EXPECT_EQ(pControl->lastCreateParams, pList);

    const PDLibWrapperSlot& slot = g_PDLibWrapper[2];
    EXPECT_NE(slot.libHandle, nullptr);
    EXPECT_EQ(ControlOf(slot.libHandle), pControl);
    EXPECT_EQ(slot.callbacks.size, 48u);
    EXPECT_NE(slot.callbacks.pfnCreate, nullptr);
    EXPECT_NE(slot.callbacks.pfnQueryVendorTag, nullptr);
    for (uint32_t index = 0; index < Zyra::MaxNumCameras; ++index) {
        EXPECT_TRUE(SlotIsZero(g_PDLibWrapper2[index]));
        if (index != 2) {
            EXPECT_TRUE(SlotIsZero(g_PDLibWrapper[index]));
        }
    }
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components(kDefaultName))));
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(CreatePDLibWrapperTest, AnswersWhatTheAlgorithmsCreateAnswers) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    pControl->createResult = 3;
    pControl->createGivesInstance = false;
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(0).Get()), 3u);
    EXPECT_EQ(pInstance, nullptr);
    EXPECT_TRUE(m_stats.Lines().empty());

    // A null out pointer is the algorithm library's business.
    pControl->createResult = 0;
    pControl->createGivesInstance = true;
    EXPECT_EQ(CreatePDLibWrapper(nullptr, CreateParamList().Camera(0).Get()), 0u);
    EXPECT_EQ(pControl->lastCreateOut, nullptr);
}

TEST_F(CreatePDLibWrapperTest, LastValidNameWins) {
    FakeSysroot sysroot;
    fake_pd::Control* pFirst = sysroot.InstallAlgo("first.algo");
    fake_pd::Control* pSecond = sysroot.InstallAlgo("second.algo");
    fake_pd::Control* pDefault = sysroot.InstallAlgo(kDefaultName);
    ASSERT_TRUE(pFirst && pSecond && pDefault);
    VEXPDLib* pInstance = nullptr;
    CreateParamList list;
    list.Name("first.algo")
        .Camera(1)
        .Name("second.algo")
        .Name("abc", 3)
        .Entry(1, nullptr, 64)
        .Entry(7, nullptr, 0);
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, list.Get()), 0u);
    EXPECT_EQ(pFirst->entryCalls, 0u);
    EXPECT_EQ(pSecond->createCalls, 1u);
    EXPECT_EQ(pDefault->entryCalls, 0u);
    EXPECT_EQ(pInstance, &pSecond->instances[0].ops);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components("second.algo"))));
}

TEST_F(CreatePDLibWrapperTest, ShortNameIsIgnoredAndTheDefaultTaken) {
    FakeSysroot sysroot;
    fake_pd::Control* pShort = sysroot.InstallAlgo("abc");
    fake_pd::Control* pDefault = sysroot.InstallAlgo(kDefaultName);
    ASSERT_TRUE(pShort && pDefault);
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Name("abc", 3).Camera(4).Get()), 0u);
    EXPECT_EQ(pShort->entryCalls, 0u);
    EXPECT_EQ(pDefault->createCalls, 1u);

    // Size 4 is enough, whatever the text's length.
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Name("abc", 4).Camera(4).Get()), 0u);
    EXPECT_EQ(pShort->createCalls, 1u);
}

TEST_F(CreatePDLibWrapperTest, WrittenDefaultNameIsTaken) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo("other.default");
    ASSERT_NE(pControl, nullptr);
    pDefaultPDLibName = "other.default";
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(5).Get()), 0u);
    EXPECT_EQ(pControl->createCalls, 1u);
}

TEST_F(CreatePDLibWrapperTest, MissingOrInvalidCameraAnswersZeroWithoutLoading) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = kUntouched;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Name(kDefaultName).Get()), 0u);
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(10).Get()), 0u);
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(0xFFFFFFFF).Get()), 0u);
    // A camera entry without its block counts for nothing: the id stays 10.
    EXPECT_EQ(
        CreatePDLibWrapper(
            &pInstance, CreateParamList().Entry(PDLibCreateParamTypeCameraInfo, nullptr, 8).Get()),
        0u);
    // A later camera entry replaces an earlier one.
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(1).Camera(12).Get()), 0u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_EQ(pControl->entryCalls, 0u);
    EXPECT_TRUE(AllSlotsZero());
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(CreatePDLibWrapperTest, CameraNineUsesTheLastSlot) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(12).Camera(9).Get()), 0u);
    EXPECT_NE(g_PDLibWrapper[9].libHandle, nullptr);
    EXPECT_NE(pInstance, nullptr);
}

// ---------------------------------------------------------------------------------------
// CreatePDLibWrapper: loading

TEST_F(CreatePDLibWrapperTest, FallsBackToTheVendorFolder) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = ControlAt(sysroot.Install(kVendorFolder, kDefaultName));
    ASSERT_NE(pControl, nullptr);
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(3).Get()), 0u);
    EXPECT_EQ(pInstance, &pControl->instances[0].ops);
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded("/usr/lib//com.ovi.stats.pdlib.so.0")));
}

TEST_F(CreatePDLibWrapperTest, MissingLibraryIsLoggedAndAnswersZero) {
    FakeSysroot sysroot;
    VEXPDLib* pInstance = kUntouched;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(4).Get()), 0u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_TRUE(AllSlotsZero());
    const auto& lines = m_stats.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "CID:[7] Not found PDLIB[CamId:4] entry function");
    EXPECT_EQ(lines[0].line, 922u);
    EXPECT_EQ(lines[0].level, 2u);
    EXPECT_EQ(lines[0].group, 4u);
    EXPECT_EQ(lines[0].function, "CreatePDLibWrapper");
    EXPECT_NE(lines[0].file.find(kFile), std::string::npos);
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(CreatePDLibWrapperTest, MissingEntryKeepsTheHandleInTheSlot) {
    FakeSysroot sysroot;
    sysroot.Install(kComponentsFolder, kDefaultName, Module::kNoEntry);
    VEXPDLib* pInstance = kUntouched;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(4).Get()), 0u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_NE(g_PDLibWrapper[4].libHandle, nullptr);
    EXPECT_EQ(g_PDLibWrapper[4].callbacks.size, 0u);
    EXPECT_THAT(m_stats.Texts(), ElementsAre("CID:[7] Not found PDLIB[CamId:4] entry function"));
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components(kDefaultName))));
}

TEST_F(CreatePDLibWrapperTest, EntryWithoutCreateIsLoggedAndAnswersZero) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    pControl->fillCreate = false;
    VEXPDLib* pInstance = kUntouched;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(6).Get()), 0u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_EQ(pControl->entryCalls, 1u);
    const auto& lines = m_stats.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "CID:[7] PDLIB[CamId:6] create function is NULL pointer");
    EXPECT_EQ(lines[0].line, 917u);
    EXPECT_EQ(lines[0].level, 2u);
}

TEST_F(CreatePDLibWrapperTest, SecondCreateForACameraZeroesAndRefillsTheSlot) {
    FakeSysroot sysroot;
    fake_pd::Control* pFirst = sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pSecond = sysroot.InstallAlgo("replacement");
    ASSERT_TRUE(pFirst && pSecond);
    VEXPDLib* pInstance = nullptr;
    ASSERT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(1).Get()), 0u);
    void* pFirstHandle = g_PDLibWrapper[1].libHandle;
    g_PDLibWrapper[1].callbacks.pReserved = &pInstance;  // zeroed by the next create
    pSecond->fillGetCapabilities = false;

    ASSERT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Name("replacement").Camera(1).Get()),
              0u);
    EXPECT_NE(g_PDLibWrapper[1].libHandle, pFirstHandle);
    EXPECT_EQ(pSecond->entryReservedSeen, nullptr);
    EXPECT_EQ(g_PDLibWrapper[1].callbacks.pfnGetCapabilities, nullptr);
    EXPECT_EQ(pInstance, &pSecond->instances[0].ops);

    // The same library again: mapped again, entry and create called again.
    ASSERT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(1).Get()), 0u);
    EXPECT_EQ(g_PDLibWrapper[1].libHandle, pFirstHandle);
    EXPECT_EQ(pFirst->entryCalls, 2u);
    EXPECT_EQ(pFirst->createCalls, 2u);
    EXPECT_EQ(pInstance, &pFirst->instances[1].ops);
}

TEST_F(CreatePDLibWrapperTest, WrittenEntryNameIsLookedUp) {
    FakeSysroot sysroot;
    sysroot.InstallAlgo(kDefaultName);
    pPDLIBEntryFunctionName = "NoSuchEntry";
    VEXPDLib* pInstance = kUntouched;
    EXPECT_EQ(CreatePDLibWrapper(&pInstance, CreateParamList().Camera(0).Get()), 0u);
    EXPECT_THAT(m_stats.Texts(), ElementsAre("CID:[7] Not found PDLIB[CamId:0] entry function"));
    EXPECT_THAT(m_log.Texts(), ElementsAre(Loaded(Components(kDefaultName), "NoSuchEntry")));
}

TEST_F(CreatePDLibWrapperTest, IsTheCreateOfTheTable) {
    FakeSysroot sysroot;
    fake_pd::Control* pControl = sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    PDLibraryCallbacks table{};
    table.size = sizeof(table);
    VexPDLibraryEntry(&table);
    VEXPDLib* pInstance = nullptr;
    EXPECT_EQ(table.pfnCreate(&pInstance, CreateParamList().Camera(8).Get()), 0u);
    EXPECT_EQ(pInstance, &pControl->instances[0].ops);
}

// ---------------------------------------------------------------------------------------
// CreatePDLibWrapperHandleMultiPDLib

constexpr const char* kMultiFunction = "CreatePDLibWrapperHandleMultiPDLib";

std::string Multi(const char* pPrefix, uint32_t line, const std::string& message) {
    return Direct(pPrefix, kFile, line, kMultiFunction, message);
}

std::string MutexError(uint32_t cameraId) {
    return Multi(
        "[ERROR]", 837,
        "MaxNumCameras 10 cameraId " + std::to_string(cameraId) + " g_pAFPDlibMutex (nil)");
}

class MultiCreateTest : public PdFrontTest {
protected:
    void SetUp() override {
        PdFrontTest::SetUp();
        EnableTrace();
    }

    // Creates for `cameraId` and checks what every path shares: answer 1, the out pointer
    // untouched, and no instance stored in the dispatch's globals.
    void CreateFor(uint32_t cameraId, const char* pName = nullptr) {
        CreateParamList list;
        if (pName != nullptr) {
            list.Name(pName);
        }
        list.Camera(cameraId);
        VEXPDLib* pInstance = kUntouched;
        EXPECT_EQ(CreatePDLibWrapperHandleMultiPDLib(&pInstance, list.Get()), 1u);
        EXPECT_EQ(pInstance, kUntouched);
        EXPECT_EQ(g_pPDLib1, nullptr);
        for (VEXPDLib* pPDLib2 : g_pPDLib2) {
            EXPECT_EQ(pPDLib2, nullptr);
        }
    }

    FakeSysroot m_sysroot;
};

TEST_F(MultiCreateTest, EmptyListLogsTheNullNameAndAnswersOne) {
    VEXPDLib* pInstance = kUntouched;
    PDLibCreateParamList list{nullptr, 0};
    EXPECT_EQ(CreatePDLibWrapperHandleMultiPDLib(&pInstance, &list), 1u);
    EXPECT_EQ(CreatePDLibWrapperHandleMultiPDLib(&pInstance, nullptr), 1u);
    EXPECT_EQ(pInstance, kUntouched);
    EXPECT_TRUE(AllSlotsZero());
    const std::string opening = Multi("[ VERB]", 690, "cameraId 10 pPDLibName1 (null)");
    EXPECT_THAT(m_log.Texts(), ElementsAre(opening, MutexError(10), opening, MutexError(10)));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]MaxNumCameras 10 cameraId 10 g_pAFPDlibMutex (nil)", "<end>",
                            "[ERROR]MaxNumCameras 10 cameraId 10 g_pAFPDlibMutex (nil)", "<end>"));
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(MultiCreateTest, InvalidCameraGoesStraightToTheEnd) {
    fake_pd::Control* pControl = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pControl, nullptr);
    CreateFor(12, "given.name");
    EXPECT_EQ(pControl->entryCalls, 0u);
    EXPECT_TRUE(AllSlotsZero());
    EXPECT_THAT(
        m_log.Texts(),
        ElementsAre(Multi("[ VERB]", 690, "cameraId 12 pPDLibName1 given.name"), MutexError(12)));
}

TEST_F(MultiCreateTest, GoodPathCreatesBothInstancesAndStillAnswersOne) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pSecond = m_sysroot.InstallAlgo("second.lib");
    ASSERT_TRUE(pFirst && pSecond);
    pPDLibName2 = "second.lib";
    CreateFor(3);

    EXPECT_EQ(pFirst->createCalls, 1u);
    EXPECT_EQ(pSecond->createCalls, 1u);
    EXPECT_EQ(pFirst->instanceCount, 1u);  // both instances stay allocated, stored nowhere
    EXPECT_EQ(pSecond->instanceCount, 1u);
    EXPECT_EQ(ControlOf(g_PDLibWrapper[3].libHandle), pFirst);
    EXPECT_EQ(ControlOf(g_PDLibWrapper2[3].libHandle), pSecond);
    EXPECT_EQ(g_PDLibWrapper[3].callbacks.size, 48u);
    EXPECT_EQ(g_PDLibWrapper2[3].callbacks.size, 48u);
    EXPECT_THAT(
        m_log.Texts(),
        ElementsAre(
            Multi("[ VERB]", 690, "cameraId 3 pPDLibName1 (null)"),
            Multi("[ INFO]", 706, "Loading PDLib com.ovi.stats.pdlib for cameraId 3"),
            Loaded(Components(kDefaultName)),
            Multi("[ VERB]", 719,
                  "Reload PDLib com.ovi.stats.pdlib for g_PDLibWrapper[3], cameraId 3"),
            Loaded(Components("second.lib")),
            Multi("[ VERB]", 759, "Reload PDLib second.lib for g_PDLibWrapper2[3], cameraId 3"),
            MutexError(3)));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]MaxNumCameras 10 cameraId 3 g_pAFPDlibMutex (nil)", "<end>"));
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(MultiCreateTest, StaticNameReusesALoadedSlotWithoutItsLogLines) {
    fake_pd::Control* pStatic = m_sysroot.InstallAlgo(kStaticName);
    fake_pd::Control* pSecond = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_TRUE(pStatic && pSecond);
    CreateFor(5, kStaticName);  // slot empty: loaded, but without the INFO line
    EXPECT_EQ(pStatic->entryCalls, 1u);
    EXPECT_THAT(
        m_log.Texts(),
        ElementsAre(
            Multi("[ VERB]", 690, "cameraId 5 pPDLibName1 com.ovistatic.stats.pdlib"),
            Loaded(Components(kStaticName)),
            Multi("[ VERB]", 719,
                  "Reload PDLib com.ovistatic.stats.pdlib for g_PDLibWrapper[5], cameraId 5"),
            Loaded(Components(kDefaultName)),
            Multi("[ VERB]", 759,
                  "Reload PDLib com.ovi.stats.pdlib for g_PDLibWrapper2[5], cameraId 5"),
            MutexError(5)));

    m_log.Clear();
    g_PDLibWrapper[5].callbacks.pReserved = &m_sysroot;  // survives: the slot is not zeroed
    CreateFor(5, kStaticName);
    EXPECT_EQ(pStatic->entryCalls, 1u);
    EXPECT_EQ(pStatic->createCalls, 2u);
    EXPECT_EQ(pSecond->entryCalls, 1u);  // the loaded second slot is kept too
    EXPECT_EQ(pSecond->createCalls, 2u);
    EXPECT_EQ(g_PDLibWrapper[5].callbacks.pReserved, &m_sysroot);
    EXPECT_THAT(
        m_log.Texts(),
        ElementsAre(Multi("[ VERB]", 690, "cameraId 5 pPDLibName1 com.ovistatic.stats.pdlib"),
                    MutexError(5)));
}

TEST_F(MultiCreateTest, OtherNameLoadsAgainOverALoadedSlot) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pFirst, nullptr);
    CreateFor(0);
    g_PDLibWrapper[0].callbacks.pReserved = &m_sysroot;
    CreateFor(0);
    EXPECT_EQ(g_PDLibWrapper[0].callbacks.pReserved, nullptr);
    // Library 1 loaded twice; library 2 (the same file by default) once, for the second table.
    EXPECT_EQ(pFirst->entryCalls, 3u);
    EXPECT_EQ(pFirst->createCalls, 4u);
}

TEST_F(MultiCreateTest, MissingFirstLibraryIsAnError) {
    CreateFor(2);
    EXPECT_THAT(
        m_log.Texts(),
        ElementsAre(Multi("[ VERB]", 690, "cameraId 2 pPDLibName1 (null)"),
                    Multi("[ INFO]", 706, "Loading PDLib com.ovi.stats.pdlib for cameraId 2"),
                    Multi("[ VERB]", 719,
                          "Reload PDLib com.ovi.stats.pdlib for g_PDLibWrapper[2], cameraId 2"),
                    Multi("[ERROR]", 728, "cameraId 2 PDLIB1 entry function Not found ")));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]cameraId 2 PDLIB1 entry function Not found ", "<end>"));
}

TEST_F(MultiCreateTest, FirstLibraryWithoutCreateIsAnError) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pFirst, nullptr);
    pFirst->fillCreate = false;
    CreateFor(2);
    EXPECT_EQ(m_log.Texts().back(),
              Multi("[ERROR]", 748, "cameraId 2 PDLIB1 create function is NULL pointer"));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]cameraId 2 PDLIB1 create function is NULL pointer", "<end>"));
}

TEST_F(MultiCreateTest, FailedFirstCreateWarnsAndOnlyANullInstanceStops) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pSecond = m_sysroot.InstallAlgo("second.lib");
    ASSERT_TRUE(pFirst && pSecond);
    pPDLibName2 = "second.lib";
    pFirst->createResult = 6;
    CreateFor(1);  // an instance despite the code: the walk goes on
    EXPECT_EQ(pSecond->createCalls, 1u);
    EXPECT_TRUE(m_log.Contains(Multi("[ WARN]", 738, "Unable to create instance of algorithm: 6")));
    EXPECT_EQ(m_log.Texts().back(), MutexError(1));

    m_log.Clear();
    pFirst->createGivesInstance = false;
    CreateFor(1);
    EXPECT_EQ(pSecond->createCalls, 1u);
    const auto texts = m_log.Texts();
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[texts.size() - 2],
              Multi("[ WARN]", 738, "Unable to create instance of algorithm: 6"));
    EXPECT_EQ(texts.back(), Multi("[ERROR]", 742, "cameraId 1 pPDLib1 is NULL pointer"));
    EXPECT_THAT(m_log.Trace(), ElementsAre("[ERROR]cameraId 1 pPDLib1 is NULL pointer", "<end>"));
}

TEST_F(MultiCreateTest, WarningFollowsItsGate) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pFirst, nullptr);
    pFirst->createResult = 6;
    CloseDirectLevels();
    CreateFor(1);
    EXPECT_THAT(m_log.Texts(), ElementsAre(MutexError(1)));
}

TEST_F(MultiCreateTest, MissingSecondLibraryIsAnError) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pFirst, nullptr);
    pPDLibName2 = "absent.lib";
    CreateFor(4);
    const auto texts = m_log.Texts();
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[texts.size() - 2],
              Multi("[ VERB]", 759, "Reload PDLib absent.lib for g_PDLibWrapper2[4], cameraId 4"));
    EXPECT_EQ(texts.back(), Multi("[ERROR]", 770, "Not found PDLIB2[CamId:4] entry function"));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]Not found PDLIB2[CamId:4] entry function", "<end>"));
    EXPECT_EQ(g_PDLibWrapper2[4].libHandle, nullptr);
}

TEST_F(MultiCreateTest, SecondEntryIsLookedUpByItsOwnName) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    ASSERT_NE(pFirst, nullptr);
    pPDLIBEntryFunctionName2 = "NoSuchEntry";
    CreateFor(4);
    EXPECT_EQ(m_log.Texts().back(),
              Multi("[ERROR]", 770, "Not found PDLIB2[CamId:4] entry function"));
    EXPECT_NE(g_PDLibWrapper2[4].libHandle, nullptr);  // the handle stays
}

TEST_F(MultiCreateTest, LoadedSecondSlotIsKeptWithoutComparingNames) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pOther = m_sysroot.InstallAlgo("other.lib");
    ASSERT_TRUE(pFirst && pOther);
    // The second table of camera 6 holds "other.lib", though pPDLibName2 names the default.
    g_PDLibWrapper2[6].libHandle =
        dlopen((m_sysroot.Root() + Components("other.lib")).c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(g_PDLibWrapper2[6].libHandle, nullptr);
    g_PDLibWrapper2[6].callbacks.size = 48;
    reinterpret_cast<PFNPDLibraryEntry>(dlsym(g_PDLibWrapper2[6].libHandle, "VexPDLibraryEntry"))(
        &g_PDLibWrapper2[6].callbacks);
    CreateFor(6);
    EXPECT_EQ(pFirst->createCalls, 1u);
    EXPECT_EQ(pOther->createCalls, 1u);
    EXPECT_FALSE(m_log.Contains(":759 "));
}

TEST_F(MultiCreateTest, SecondLibraryWithoutCreateIsAnError) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pSecond = m_sysroot.InstallAlgo("second.lib");
    ASSERT_TRUE(pFirst && pSecond);
    pPDLibName2 = "second.lib";
    pSecond->fillCreate = false;
    CreateFor(7);
    EXPECT_EQ(m_log.Texts().back(),
              Multi("[ERROR]", 786, "PDLIB2[CamId:7] create function is NULL pointer"));
    EXPECT_THAT(m_log.Trace(),
                ElementsAre("[ERROR]PDLIB2[CamId:7] create function is NULL pointer", "<end>"));
}

TEST_F(MultiCreateTest, NullSecondInstanceIsAnErrorWhateverItsCode) {
    fake_pd::Control* pFirst = m_sysroot.InstallAlgo(kDefaultName);
    fake_pd::Control* pSecond = m_sysroot.InstallAlgo("second.lib");
    ASSERT_TRUE(pFirst && pSecond);
    pPDLibName2 = "second.lib";
    pSecond->createGivesInstance = false;
    CreateFor(8);
    EXPECT_EQ(m_log.Texts().back(), Multi("[ERROR]", 780, "cameraId 8 pPDLib2 is NULL pointer"));
    EXPECT_THAT(m_log.Trace(), ElementsAre("[ERROR]cameraId 8 pPDLib2 is NULL pointer", "<end>"));

    // The second create's code is not looked at: an instance with a failure code goes on.
    m_log.Clear();
    pSecond->createGivesInstance = true;
    pSecond->createResult = 9;
    CreateFor(8);
    EXPECT_EQ(m_log.Texts().back(), MutexError(8));
    EXPECT_FALSE(m_log.Contains("Unable to create"));
}

}  // namespace
}  // namespace pd_test
