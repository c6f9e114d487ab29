// The dual-instance dispatch over g_pPDLib1 and g_pPDLib2[cameraId], with
// instances of the fake algorithm library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "pd_test_support.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;

constexpr uint32_t kCamera = 2;

class DualDispatchTest : public PdFrontTest {
protected:
    void SetUp() override {
        PdFrontTest::SetUp();
        m_pControl = m_sysroot.InstallAlgo("com.ovi.stats.pdlib");
        ASSERT_NE(m_pControl, nullptr);
        VEXPDLib* pFirst = nullptr;
        ASSERT_EQ(CreatePDLibWrapper(&pFirst, CreateParamList().Camera(0).Get()), 0u);
        VEXPDLib* pSecond = nullptr;
        ASSERT_EQ(
            g_PDLibWrapper[0].callbacks.pfnCreate(&pSecond, CreateParamList().Camera(0).Get()), 0u);
        ASSERT_TRUE(pFirst && pSecond);
        m_pInstance1 = reinterpret_cast<fake_pd::Instance*>(pFirst);
        m_pInstance2 = reinterpret_cast<fake_pd::Instance*>(pSecond);
        g_pPDLib1 = pFirst;
        g_pPDLib2[kCamera] = pSecond;
        m_log.Clear();
        m_stats.Clear();
    }

    VEXPDLib* Lib1() const { return &m_pInstance1->ops; }
    VEXPDLib* Lib2() const { return &m_pInstance2->ops; }
    // Any non-null instance: the dispatch only tests it for null.
    VEXPDLib* Caller() const { return reinterpret_cast<VEXPDLib*>(&m_callerInstance); }

    static std::vector<uint32_t> Operations(const fake_pd::Instance* pInstance) {
        std::vector<uint32_t> operations;
        for (uint32_t index = 0; index < pInstance->callCount && index < fake_pd::kMaxCalls;
             ++index) {
            operations.push_back(pInstance->calls[index].operation);
        }
        return operations;
    }

    void ExpectStats(const std::vector<std::pair<uint32_t, uint32_t>>& levelsAndLines,
                     const std::vector<std::string>& texts) const {
        const auto& lines = m_stats.Lines();
        ASSERT_EQ(lines.size(), texts.size());
        ASSERT_EQ(levelsAndLines.size(), texts.size());
        for (size_t index = 0; index < lines.size(); ++index) {
            EXPECT_EQ(lines[index].text, texts[index]);
            EXPECT_EQ(lines[index].level, levelsAndLines[index].first) << texts[index];
            EXPECT_EQ(lines[index].line, levelsAndLines[index].second) << texts[index];
            EXPECT_EQ(lines[index].group, 4u);
            EXPECT_NE(lines[index].file.find("pd_dual_dispatch.cpp"), std::string::npos);
        }
    }

    FakeSysroot m_sysroot;
    fake_pd::Control* m_pControl = nullptr;
    fake_pd::Instance* m_pInstance1 = nullptr;
    fake_pd::Instance* m_pInstance2 = nullptr;
    mutable uint64_t m_callerInstance = 0;
};

// ---------------------------------------------------------------------------------------
// IsCameraIDValid

using IsCameraIDValidTest = PdFrontTest;

TEST_F(IsCameraIDValidTest, ZeroToNineAreValidSilently) {
    for (uint32_t cameraId = 0; cameraId < 10; ++cameraId) {
        EXPECT_TRUE(Zyra::IsCameraIDValid(cameraId));
    }
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(IsCameraIDValidTest, OthersAreLoggedAsWrong) {
    EXPECT_FALSE(Zyra::IsCameraIDValid(10));
    EXPECT_FALSE(Zyra::IsCameraIDValid(0xFFFFFFFF));
    const auto& lines = m_stats.Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "CID:[7] Wrong cameraId 10 MaxNumCameras 10");
    EXPECT_EQ(lines[1].text, "CID:[7] Wrong cameraId -1 MaxNumCameras 10");
    EXPECT_EQ(lines[0].level, 2u);
    EXPECT_EQ(lines[0].line, 153u);
    EXPECT_EQ(lines[0].function, "IsCameraIDValid");
}

// ---------------------------------------------------------------------------------------
// PDLibInitialize

using PDLibInitializeTest = DualDispatchTest;

TEST_F(PDLibInitializeTest, InitializesInstanceOneThenTwo) {
    PDLibCreateParams params{};
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 0u);
    ASSERT_THAT(Operations(m_pInstance1), ElementsAre(fake_pd::kOpInitialize));
    ASSERT_THAT(Operations(m_pInstance2), ElementsAre(fake_pd::kOpInitialize));
    EXPECT_LT(m_pInstance1->calls[0].sequence, m_pInstance2->calls[0].sequence);
    EXPECT_EQ(m_pInstance1->calls[0].pArg1, &params);
    EXPECT_EQ(m_pInstance2->calls[0].pArg1, &params);
    ExpectStats({{32, 205}},
                {"CID:[7] pPDLibDataPDLib 1 & pPDLibDataPDLib 2[2] PDLibInitialize succeed"});
}

TEST_F(PDLibInitializeTest, NullArgumentsAnswerFive) {
    PDLibCreateParams params{};
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(nullptr, &params), 5u);
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), nullptr), 5u);
    ExpectStats({{2, 177}, {2, 177}},
                {"CID:[7] Null pointer pPDLib (nil) pCreateParam " + Ptr(&params),
                 "CID:[7] Null pointer pPDLib " + Ptr(Caller()) + " pCreateParam (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibInitializeTest, WrongCameraAnswersOne) {
    PDLibCreateParams params{};
    params.cameraId = 10;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 1u);
    ExpectStats({{2, 153}}, {"CID:[7] Wrong cameraId 10 MaxNumCameras 10"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibInitializeTest, BothInstancesAreNeeded) {
    PDLibCreateParams params{};
    params.cameraId = 3;  // no instance 2 for camera 3
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 5u);
    g_pPDLib1 = nullptr;
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 5u);
    ExpectStats({{2, 209}, {2, 209}},
                {"CID:[7] Null pointer g_pPDLib1 " + Ptr(Lib1()) + " g_pPDLib2[3] (nil)",
                 "CID:[7] Null pointer g_pPDLib1 (nil) g_pPDLib2[2] " + Ptr(Lib2())});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
    EXPECT_EQ(m_pInstance2->callCount, 0u);
}

TEST_F(PDLibInitializeTest, FailureOfInstanceOneStopsBeforeInstanceTwo) {
    m_pInstance1->results[fake_pd::kOpInitialize] = 4;
    PDLibCreateParams params{};
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 1u);
    EXPECT_EQ(m_pInstance1->callCount, 1u);
    EXPECT_EQ(m_pInstance2->callCount, 0u);
    ExpectStats({{2, 194}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibInitialize result 4."});
}

TEST_F(PDLibInitializeTest, FailureOfInstanceTwoLeavesInstanceOneInitialized) {
    m_pInstance2->results[fake_pd::kOpInitialize] = 8;
    PDLibCreateParams params{};
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 1u);
    EXPECT_THAT(Operations(m_pInstance1), ElementsAre(fake_pd::kOpInitialize));  // no destroy
    EXPECT_THAT(Operations(m_pInstance2), ElementsAre(fake_pd::kOpInitialize));
    ExpectStats({{2, 201}}, {"CID:[7] pPDLibDataPDLib 2[2]->PDLibInitialize result 8."});
}

// ---------------------------------------------------------------------------------------
// PDLibProcess

class PDLibProcessTest : public DualDispatchTest {
protected:
    PDLibProcessTest()
        : m_pBlock(std::make_unique<PDLibHWBlock>()), m_pInput(std::make_unique<PDLibInputs>()) {
        m_pInput->cameraId = kCamera;
        m_pInput->pHWBlock = m_pBlock.get();
    }

    uint32_t Process() { return Zyra::PDLibProcess(Caller(), m_pInput.get(), Output()); }
    PDLibOutputs* Output() { return reinterpret_cast<PDLibOutputs*>(m_output); }

    std::unique_ptr<PDLibHWBlock> m_pBlock;
    std::unique_ptr<PDLibInputs> m_pInput;
    alignas(8) unsigned char m_output[64] = {};
};

TEST_F(PDLibProcessTest, RoutesByTheHardwareBlock) {
    struct Case {
        uint32_t secondLibActive;
        uint32_t hwOverrideActive;
        bool toSecond;
    };
    const Case cases[] = {
        {0, 0, false}, {0, 1, false}, {0, 2, false},         {1, 1, false},
        {1, 0, true},  {1, 2, true},  {7, 0xFFFFFFFF, true}, {0xFFFFFFFF, 1, false},
    };
    for (const Case& routing : cases) {
        m_pInstance1->callCount = 0;
        m_pInstance2->callCount = 0;
        m_stats.Clear();
        m_pBlock->secondLibActive = routing.secondLibActive;
        m_pBlock->hwOverrideActive = routing.hwOverrideActive;
        EXPECT_EQ(Process(), 0u);
        fake_pd::Instance* pChosen = routing.toSecond ? m_pInstance2 : m_pInstance1;
        fake_pd::Instance* pOther = routing.toSecond ? m_pInstance1 : m_pInstance2;
        ASSERT_EQ(pChosen->callCount, 1u)
            << routing.secondLibActive << " " << routing.hwOverrideActive;
        EXPECT_EQ(pOther->callCount, 0u);
        EXPECT_EQ(pChosen->calls[0].operation, fake_pd::kOpProcess);
        EXPECT_EQ(pChosen->calls[0].pArg1, m_pInput.get());
        EXPECT_EQ(pChosen->calls[0].pArg2, Output());
        if (routing.toSecond) {
            ExpectStats({{32, 270}}, {"CID:[7] pPDLibDataPDLib 2[2]->PDLibProcess result 0"});
        } else {
            ExpectStats({{32, 256}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibProcess result 0"});
        }
    }
}

TEST_F(PDLibProcessTest, AnswersTheInstancesOwnCode) {
    m_pInstance1->results[fake_pd::kOpProcess] = 9;
    m_pInstance2->results[fake_pd::kOpProcess] = 11;
    EXPECT_EQ(Process(), 9u);
    m_pBlock->secondLibActive = 1;
    EXPECT_EQ(Process(), 11u);
    ExpectStats({{32, 256}, {32, 270}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibProcess result 9",
                                         "CID:[7] pPDLibDataPDLib 2[2]->PDLibProcess result 11"});
}

TEST_F(PDLibProcessTest, OnlyTheChosenInstanceIsNeeded) {
    g_pPDLib2[kCamera] = nullptr;
    EXPECT_EQ(Process(), 0u);  // instance 1 works alone
    EXPECT_EQ(m_pInstance1->callCount, 1u);
    PDLibCreateParams params{};
    params.cameraId = kCamera;
    EXPECT_EQ(Zyra::PDLibInitialize(Caller(), &params), 5u);  // needs both

    m_stats.Clear();
    m_pBlock->secondLibActive = 1;
    EXPECT_EQ(Process(), 5u);
    g_pPDLib2[kCamera] = Lib2();
    g_pPDLib1 = nullptr;
    EXPECT_EQ(Process(), 0u);  // instance 2 works alone
    m_pBlock->secondLibActive = 0;
    EXPECT_EQ(Process(), 5u);
    ExpectStats({{2, 274}, {32, 270}, {2, 260}},
                {"CID:[7] cameraId 2 Null pointer g_pPDLib2",
                 "CID:[7] pPDLibDataPDLib 2[2]->PDLibProcess result 0",
                 "CID:[7] cameraId 2 Null pointer g_pPDLib1"});
}

TEST_F(PDLibProcessTest, NullArgumentsAnswerFive) {
    EXPECT_EQ(Zyra::PDLibProcess(nullptr, m_pInput.get(), Output()), 5u);
    EXPECT_EQ(Zyra::PDLibProcess(Caller(), nullptr, Output()), 5u);
    EXPECT_EQ(Zyra::PDLibProcess(Caller(), m_pInput.get(), nullptr), 5u);
    ExpectStats(
        {{2, 237}, {2, 237}, {2, 237}},
        {"CID:[7] Null pointer pPDLib (nil) pInput " + Ptr(m_pInput.get()) + " pOutput " +
             Ptr(Output()),
         "CID:[7] Null pointer pPDLib " + Ptr(Caller()) + " pInput (nil) pOutput " + Ptr(Output()),
         "CID:[7] Null pointer pPDLib " + Ptr(Caller()) + " pInput " + Ptr(m_pInput.get()) +
             " pOutput (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibProcessTest, WrongCameraAnswersOne) {
    m_pInput->cameraId = 10;
    EXPECT_EQ(Process(), 1u);
    ExpectStats({{2, 153}}, {"CID:[7] Wrong cameraId 10 MaxNumCameras 10"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

// ---------------------------------------------------------------------------------------
// PDLibConfigure

class PDLibConfigureTest : public DualDispatchTest {
protected:
    PDLibConfigureTest() { m_create.cameraId = kCamera; }

    PDLibConfigParams* List(std::vector<PDLibConfigParamEntry> entries) {
        m_entries = std::move(entries);
        m_config.pParams = m_entries.data();
        m_config.count = static_cast<uint32_t>(m_entries.size());
        return &m_config;
    }
    static PDLibConfigParamEntry Entry(uint32_t type, void* pParam) {
        PDLibConfigParamEntry entry{};
        entry.type = type;
        entry.pParam = pParam;
        return entry;
    }

    PDLibCreateParams m_create{};
    std::vector<PDLibConfigParamEntry> m_entries;
    PDLibConfigParams m_config{};
};

TEST_F(PDLibConfigureTest, ConfiguresBothInstancesWithTheWholeList) {
    PDLibConfigParams* pConfig = List({Entry(0, &m_create)});
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), pConfig), 0u);
    ASSERT_THAT(Operations(m_pInstance1), ElementsAre(fake_pd::kOpConfigure));
    ASSERT_THAT(Operations(m_pInstance2), ElementsAre(fake_pd::kOpConfigure));
    EXPECT_EQ(m_pInstance1->calls[0].pArg1, pConfig);
    EXPECT_EQ(m_pInstance2->calls[0].pArg1, pConfig);
    EXPECT_LT(m_pInstance1->calls[0].sequence, m_pInstance2->calls[0].sequence);
    ExpectStats({{32, 332}, {32, 334}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibConfigure succeed",
                                         "CID:[7] pPDLibDataPDLib 2[2]->PDLibConfigure result 0"});
}

TEST_F(PDLibConfigureTest, UnsupportedTypesAreLoggedAndPassedOver) {
    m_pInstance2->results[fake_pd::kOpConfigure] = 3;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(1, &m_create), Entry(0, &m_create)})), 3u);
    ExpectStats({{2, 353}, {32, 332}, {32, 334}},
                {"CID:[7] Unsupported ConfigParam Type 1",
                 "CID:[7] pPDLibDataPDLib 1[2]->PDLibConfigure succeed",
                 "CID:[7] pPDLibDataPDLib 2[2]->PDLibConfigure result 3"});

    m_stats.Clear();
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(5, nullptr)})), 0u);
    ExpectStats({{2, 353}}, {"CID:[7] Unsupported ConfigParam Type 5"});
}

TEST_F(PDLibConfigureTest, EmptyListAnswersZeroWithoutCalls) {
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({})), 0u);
    PDLibConfigParams nullEntries{nullptr, 4};
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), &nullEntries), 0u);
    g_pPDLib1 = nullptr;  // not even looked at
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({})), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 0u);
    EXPECT_EQ(m_pInstance2->callCount, 0u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PDLibConfigureTest, NullArgumentsAnswerFive) {
    PDLibConfigParams* pConfig = List({Entry(0, &m_create)});
    EXPECT_EQ(Zyra::PDLibConfigure(nullptr, pConfig), 5u);
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), nullptr), 5u);
    ExpectStats({{2, 303}, {2, 303}},
                {"CID:[7] Null pointer pPDLib (nil) pConfig " + Ptr(pConfig),
                 "CID:[7] Null pointer pPDLib " + Ptr(Caller()) + " pConfig (nil)"});
}

TEST_F(PDLibConfigureTest, NullCreateParamsAnswerOne) {
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, nullptr), Entry(0, &m_create)})), 1u);
    ExpectStats({{2, 347}}, {"CID:[7] Null pCreateParam "});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibConfigureTest, WrongCameraAnswersOne) {
    m_create.cameraId = 11;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create)})), 1u);
    ExpectStats({{2, 153}}, {"CID:[7] Wrong cameraId 11 MaxNumCameras 10"});
}

TEST_F(PDLibConfigureTest, BothInstancesAreNeeded) {
    m_create.cameraId = 5;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create)})), 5u);
    ExpectStats({{2, 340}},
                {"CID:[7] Null pointer g_pPDLib1 " + Ptr(Lib1()) + " g_pPDLib2[5] (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibConfigureTest, FailureOfInstanceOneSkipsInstanceTwoForThatEntry) {
    m_pInstance1->results[fake_pd::kOpConfigure] = 6;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create)})), 6u);
    EXPECT_EQ(m_pInstance1->callCount, 1u);
    EXPECT_EQ(m_pInstance2->callCount, 0u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PDLibConfigureTest, TheLastCallsCodeIsTheResult) {
    // Entry 1: instance 1 fails and instance 2 is skipped. Entry 2: both succeed, and the
    // earlier failure does not show.
    m_pInstance1->scriptedResults[fake_pd::kOpConfigure][0] = 6;
    m_pInstance1->scriptedCount[fake_pd::kOpConfigure] = 1;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create), Entry(0, &m_create)})), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 2u);
    EXPECT_EQ(m_pInstance2->callCount, 1u);
    ExpectStats({{32, 332}, {32, 334}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibConfigure succeed",
                                         "CID:[7] pPDLibDataPDLib 2[2]->PDLibConfigure result 0"});

    // The other way round: success first, then instance 1 fails.
    m_stats.Clear();
    m_pInstance1->results[fake_pd::kOpConfigure] = 6;
    m_pInstance1->scriptedResults[fake_pd::kOpConfigure][0] = 0;
    m_pInstance1->opCalls[fake_pd::kOpConfigure] = 0;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create), Entry(0, &m_create)})), 6u);
    EXPECT_EQ(m_pInstance2->callCount, 2u);

    // An unsupported type after a call leaves the result as it was.
    m_pInstance1->results[fake_pd::kOpConfigure] = 0;
    m_pInstance2->results[fake_pd::kOpConfigure] = 2;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create), Entry(7, nullptr)})), 2u);

    // A later entry without its instances stops the walk with 5.
    PDLibCreateParams otherCamera{};
    otherCamera.cameraId = 3;
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), List({Entry(0, &m_create), Entry(0, &otherCamera)})),
              5u);
}

TEST_F(PDLibConfigureTest, CountIsReadAgainOnEachTurn) {
    PDLibConfigParams* pConfig =
        List({Entry(0, &m_create), Entry(0, &m_create), Entry(0, &m_create)});
    m_pInstance1->configureSetsCount = 1;  // the first call shortens the list
    EXPECT_EQ(Zyra::PDLibConfigure(Caller(), pConfig), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 1u);
    EXPECT_EQ(m_pInstance2->callCount, 1u);
}

// ---------------------------------------------------------------------------------------
// PDLibGetParam

class PDLibGetParamTest : public DualDispatchTest {
protected:
    PDLibGetParamTest() : m_pParams(std::make_unique<PDLibGetParams>()) {
        m_pParams->cameraId = kCamera;
        m_pParams->input.requestId = 123456789012ull;
    }

    uint32_t Get(uint32_t type) {
        m_pParams->type = type;
        return Zyra::PDLibGetParam(Caller(), m_pParams.get());
    }

    std::unique_ptr<PDLibGetParams> m_pParams;
};

TEST_F(PDLibGetParamTest, NullArgumentsAnswerOne) {
    EXPECT_EQ(Zyra::PDLibGetParam(nullptr, m_pParams.get()), 1u);
    EXPECT_EQ(Zyra::PDLibGetParam(Caller(), nullptr), 1u);
    ExpectStats({{2, 382}, {2, 382}},
                {"CID:[7] Null pointer pPDLibData (nil) pGetParam " + Ptr(m_pParams.get()),
                 "CID:[7] Null pointer pPDLibData " + Ptr(Caller()) + " pGetParam (nil)"});
}

TEST_F(PDLibGetParamTest, WrongCameraAnswersOne) {
    m_pParams->cameraId = 10;
    EXPECT_EQ(Get(PDLibGetParamHWInfo), 1u);
    ExpectStats({{2, 153}}, {"CID:[7] Wrong cameraId 10 MaxNumCameras 10"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibGetParamTest, NullInstancesAnswerOne) {
    g_pPDLib2[kCamera] = nullptr;
    EXPECT_EQ(Get(PDLibGetParamHWInfo), 1u);  // even for a type served by instance 1 alone
    ExpectStats({{2, 395}},
                {"CID:[7] Null pointer cameraId 2 g_pPDLib1 " + Ptr(Lib1()) + " g_pPDLib2 (nil) "});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibGetParamTest, NullGetParamOperationsAnswerOne) {
    m_pInstance2->ops.PDLibGetParam = nullptr;
    EXPECT_EQ(Get(PDLibGetParamHWInfo), 1u);
    ExpectStats({{2, 402}}, {"CID:[7] Null pointer cameraId 2 PDLib1GetParam " +
                             Ptr(reinterpret_cast<void*>(m_pInstance1->ops.PDLibGetParam)) +
                             " PDLib2GetParam (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibGetParamTest, HWInfoGoesToInstanceOneOnly) {
    EXPECT_EQ(Get(PDLibGetParamHWInfo), 0u);
    ASSERT_EQ(m_pInstance1->callCount, 1u);
    EXPECT_EQ(m_pInstance1->calls[0].pArg1, m_pParams.get());
    EXPECT_EQ(m_pInstance2->callCount, 0u);
    EXPECT_TRUE(m_stats.Lines().empty());

    m_pInstance1->getParamResults[PDLibGetParamHWInfo] = 7;
    EXPECT_EQ(Get(PDLibGetParamHWInfo), 7u);
    ExpectStats({{32, 510}},
                {"CID:[7] pPDLibDataPDLib 1[2]->pGetParam PDLibGetParamHWInfo failed result 7"});
}

TEST_F(PDLibGetParamTest, BufferInfoGoesToInstanceTwoOnly) {
    EXPECT_EQ(Get(PDLibGetParamBufferInfo), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 0u);
    ASSERT_EQ(m_pInstance2->callCount, 1u);
    EXPECT_EQ(m_pInstance2->calls[0].pArg1, m_pParams.get());
    EXPECT_TRUE(m_stats.Lines().empty());

    m_pInstance2->getParamResults[PDLibGetParamBufferInfo] = 4;
    EXPECT_EQ(Get(PDLibGetParamBufferInfo), 4u);
    ExpectStats(
        {{32, 522}},
        {"CID:[7] pPDLibDataPDLib 2[2]->pGetParam PDLibGetParamBufferInfo failed result 4"});
}

TEST_F(PDLibGetParamTest, OtherTypesGoToInstanceTwo) {
    for (uint32_t type : {1u, 4u, 5u, 6u, 7u, 100u}) {
        m_pInstance1->callCount = 0;
        m_pInstance2->callCount = 0;
        m_stats.Clear();
        EXPECT_EQ(Get(type), 0u);
        EXPECT_EQ(m_pInstance1->callCount, 0u);
        ASSERT_EQ(m_pInstance2->callCount, 1u);
        EXPECT_EQ(m_pInstance2->calls[0].getParamType, type);
        ExpectStats({{32, 533}}, {"CID:[7] pPDLibDataPDLib 2[2]->pGetParam " +
                                  std::to_string(type) + " succeed."});
    }
    m_stats.Clear();
    m_pInstance2->getParamResults[4] = 3;
    m_pInstance2->results[fake_pd::kOpGetParam] = 12;
    EXPECT_EQ(Get(4), 3u);
    EXPECT_EQ(Get(100), 12u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PDLibGetParamTest, HWConfigTakesTheOverrideOfInstanceOneThenAsksInstanceTwo) {
    m_pInstance1->hwOverrideFill = 0x3C;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);

    ASSERT_EQ(m_pInstance1->callCount, 1u);
    const fake_pd::Call& override = m_pInstance1->calls[0];
    EXPECT_NE(override.pArg1, m_pParams.get());  // a scratch record
    EXPECT_EQ(override.getParamType, PDLibGetParamHWOverride);
    EXPECT_EQ(override.getParamCameraId, kCamera);
    const PDLibGetParamsInput zeroInput{};
    EXPECT_EQ(override.inputAreaHash, fake_pd::HashBytes(&zeroInput, sizeof(zeroInput)));

    ASSERT_EQ(m_pInstance2->callCount, 1u);
    EXPECT_EQ(m_pInstance2->calls[0].pArg1, m_pParams.get());
    EXPECT_GT(m_pInstance2->calls[0].sequence, override.sequence);
    for (uint8_t byte : m_pParams->input.hwOverride) {
        ASSERT_EQ(byte, 0x3C);
    }
    EXPECT_TRUE(m_stats.Lines().empty());  // overrideEnable is 0
}

TEST_F(PDLibGetParamTest, EnabledOverridesOfTheCallersRecordAreLogged) {
    m_pParams->overrideEnable = 1;
    m_pParams->sadRangeOverride = 1;
    m_pParams->h1Range[0] = -3;
    m_pParams->h1Range[1] = 14;
    m_pParams->h2Range[0] = 25;
    m_pParams->h2Range[1] = -36;
    m_pParams->filterCoefficientsOverride = 1;
    m_pParams->h1IIROverride[0] = 100;
    m_pParams->h1IIROverride[1] = 200;
    auto before = std::make_unique<PDLibGetParams>(*m_pParams);
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    ExpectStats({{32, 436}, {32, 444}},
                {"CID:[7] sad range override H1 14 -3 H2 -36 25",
                 "CID:[7] filterCoefficients.override H1IIR override 100 200 "});
    // Only the override answer area changed.
    std::memset(before->input.hwOverride, 0, sizeof(before->input.hwOverride));
    EXPECT_EQ(std::memcmp(before.get(), m_pParams.get(), sizeof(PDLibGetParams)), 0);

    m_stats.Clear();
    m_pParams->sadRangeOverride = 2;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    ExpectStats({{32, 444}}, {"CID:[7] filterCoefficients.override H1IIR override 100 200 "});

    m_stats.Clear();
    m_pParams->sadRangeOverride = 1;
    m_pParams->overrideEnable = 2;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PDLibGetParamTest, FailedOverrideDoesNotEndTheRequest) {
    m_pInstance1->getParamResults[PDLibGetParamHWOverride] = 9;
    m_pInstance1->hwOverrideFill = 0x77;
    m_pParams->overrideEnable = 1;
    m_pParams->sadRangeOverride = 1;
    std::memset(m_pParams->input.hwOverride, 0x11, sizeof(m_pParams->input.hwOverride));
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    EXPECT_EQ(m_pInstance2->callCount, 1u);
    for (uint8_t byte : m_pParams->input.hwOverride) {
        ASSERT_EQ(byte, 0x11);  // no copy
    }
    ExpectStats({{2, 453}},
                {"CID:[7] cameraId 2 requestId 123456789012 PDLibGetParamHWOverride failed 9"});
}

TEST_F(PDLibGetParamTest, FailureOfInstanceTwoIsTheAnswer) {
    m_pInstance2->getParamResults[PDLibGetParamHWConfig] = 13;
    m_pParams->input.sensorOverrideWanted = 1;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 13u);
    EXPECT_EQ(m_pInstance1->callCount, 1u);  // no sensor override
    ExpectStats({{32, 498}}, {"CID:[7] requestId 123456789012 pPDLibDataPDLib 2[2]->pGetParam "
                              "PDLibGetParamHWConfig failed result 13"});
}

TEST_F(PDLibGetParamTest, WantedSensorOverrideCopiesIsVPDDataReal) {
    m_pParams->input.sensorOverrideWanted = 1;
    m_pInstance1->hwOverrideFill = 0x42;
    m_pInstance1->sensorOverrideValid = 1;
    m_pInstance1->sensorOverrideIsVPDDataReal = 5;
    m_pParams->isVPDDataReal = 99;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);

    ASSERT_EQ(m_pInstance1->callCount, 2u);
    const fake_pd::Call& sensor = m_pInstance1->calls[1];
    EXPECT_EQ(sensor.getParamType, PDLibGetParamSensorOverride);
    EXPECT_EQ(sensor.getParamCameraId, kCamera);
    EXPECT_EQ(sensor.requestId, 123456789012ull);
    // The whole input area, the override answer already in it, is handed over.
    EXPECT_EQ(sensor.inputAreaHash,
              fake_pd::HashBytes(&m_pParams->input, sizeof(m_pParams->input)));
    EXPECT_GT(sensor.sequence, m_pInstance2->calls[0].sequence);
    EXPECT_EQ(m_pParams->isVPDDataReal, 5u);
    ExpectStats({{32, 482}},
                {"CID:[7] cameraId 2 requestId 123456789012 SensorOverride isVPDDataReal 5"});
}

TEST_F(PDLibGetParamTest, SensorOverrideOnlyWhenWantedIsOne) {
    m_pInstance1->sensorOverrideValid = 1;
    m_pInstance1->sensorOverrideIsVPDDataReal = 5;
    m_pParams->input.sensorOverrideWanted = 2;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 1u);
    EXPECT_EQ(m_pParams->isVPDDataReal, 0u);
}

TEST_F(PDLibGetParamTest, InvalidSensorOverrideAnswerChangesNothing) {
    m_pParams->input.sensorOverrideWanted = 1;
    m_pInstance1->sensorOverrideValid = 0;
    m_pInstance1->sensorOverrideIsVPDDataReal = 5;
    m_pParams->isVPDDataReal = 99;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    EXPECT_EQ(m_pInstance1->callCount, 2u);
    EXPECT_EQ(m_pParams->isVPDDataReal, 99u);
    EXPECT_TRUE(m_stats.Lines().empty());
}

TEST_F(PDLibGetParamTest, FailedSensorOverrideAnswersZeroAndLeavesIsVPDDataReal) {
    m_pParams->input.sensorOverrideWanted = 1;
    m_pInstance1->getParamResults[PDLibGetParamSensorOverride] = 8;
    m_pInstance1->sensorOverrideValid = 1;
    m_pInstance1->sensorOverrideIsVPDDataReal = 5;
    m_pParams->isVPDDataReal = 99;
    EXPECT_EQ(Get(PDLibGetParamHWConfig), 0u);
    EXPECT_EQ(m_pParams->isVPDDataReal, 99u);
    ExpectStats({{4, 490}},
                {"CID:[7] cameraId 2 requestId 123456789012 PDLibGetParamSensorOverride failed 8"});
}

// ---------------------------------------------------------------------------------------
// PDLibDestroy

class PDLibDestroyTest : public DualDispatchTest {
protected:
    PDLibDestroyParamList* List(std::vector<PDLibParamEntry> entries) {
        m_entries = std::move(entries);
        m_list.pParams = m_entries.data();
        m_list.count = static_cast<uint32_t>(m_entries.size());
        return &m_list;
    }
    PDLibParamEntry Camera(uint32_t cameraId) {
        m_cameras.push_back(std::make_unique<PDLibCameraInfo>());
        m_cameras.back()->cameraId = cameraId;
        return PDLibParamEntry{PDLibDestroyParamTypeCameraInfo, m_cameras.back().get(), 8};
    }

    std::vector<std::unique_ptr<PDLibCameraInfo>> m_cameras;
    std::vector<PDLibParamEntry> m_entries;
    PDLibDestroyParamList m_list{};
};

TEST_F(PDLibDestroyTest, DestroysInstanceOneThenTwoAndReportsTheMissingMutex) {
    PDLibDestroyParamList* pList =
        List({Camera(9), PDLibParamEntry{2, nullptr, 0}, Camera(kCamera)});
    Zyra::PDLibDestroy(Caller(), pList);
    ASSERT_THAT(Operations(m_pInstance1), ElementsAre(fake_pd::kOpDestroy));
    ASSERT_THAT(Operations(m_pInstance2), ElementsAre(fake_pd::kOpDestroy));
    EXPECT_EQ(m_pInstance1->calls[0].pArg1, pList);
    EXPECT_EQ(m_pInstance2->calls[0].pArg1, pList);
    EXPECT_LT(m_pInstance1->calls[0].sequence, m_pInstance2->calls[0].sequence);
    ExpectStats({{32, 586}, {32, 589}, {2, 617}}, {"CID:[7] pPDLibDataPDLib 1[2]->PDLibDestroy",
                                                   "CID:[7] pPDLibDataPDLib 2[2]->PDLibDestroy",
                                                   "CID:[7] Null pointer g_pAFPDlibMutex"});
    // The pointers keep their values; a second camera destroys the shared instance 1 again.
    EXPECT_EQ(g_pPDLib1, Lib1());
    EXPECT_EQ(g_pPDLib2[kCamera], Lib2());
    g_pPDLib2[4] = Lib2();
    Zyra::PDLibDestroy(Caller(), List({Camera(4)}));
    EXPECT_EQ(m_pInstance1->callCount, 2u);
}

TEST_F(PDLibDestroyTest, InstanceResultsAreIgnored) {
    m_pInstance1->results[fake_pd::kOpDestroy] = 3;
    Zyra::PDLibDestroy(Caller(), List({Camera(kCamera)}));
    EXPECT_EQ(m_pInstance2->callCount, 1u);
}

TEST_F(PDLibDestroyTest, NullArgumentsAreLogged) {
    PDLibDestroyParamList* pList = List({Camera(kCamera)});
    Zyra::PDLibDestroy(nullptr, pList);
    Zyra::PDLibDestroy(Caller(), nullptr);
    ExpectStats({{2, 563}, {2, 563}},
                {"CID:[7] Null pointer pPDLib (nil) pDestroyParams " + Ptr(pList),
                 "CID:[7] Null pointer pPDLib " + Ptr(Caller()) + " pDestroyParams (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

TEST_F(PDLibDestroyTest, ListWithoutCameraIsTheWrongCamera10) {
    Zyra::PDLibDestroy(Caller(),
                       List({PDLibParamEntry{2, nullptr, 0}, PDLibParamEntry{1, nullptr, 8}}));
    Zyra::PDLibDestroy(Caller(), List({}));
    PDLibDestroyParamList nullEntries{nullptr, 2};
    Zyra::PDLibDestroy(Caller(), &nullEntries);
    ExpectStats({{2, 153}, {2, 153}, {2, 153}}, {"CID:[7] Wrong cameraId 10 MaxNumCameras 10",
                                                 "CID:[7] Wrong cameraId 10 MaxNumCameras 10",
                                                 "CID:[7] Wrong cameraId 10 MaxNumCameras 10"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
    EXPECT_EQ(m_pInstance2->callCount, 0u);
}

TEST_F(PDLibDestroyTest, BothInstancesAreNeeded) {
    Zyra::PDLibDestroy(Caller(), List({Camera(1)}));
    ExpectStats({{2, 622}},
                {"CID:[7] Null pointer g_pPDLib1 " + Ptr(Lib1()) + " g_pPDLib2[1] (nil)"});
    EXPECT_EQ(m_pInstance1->callCount, 0u);
}

}  // namespace
}  // namespace pd_test
