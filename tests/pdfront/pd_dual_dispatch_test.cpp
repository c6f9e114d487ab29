// The dual-instance dispatch over g_pPDLib1 and g_pPDLib2[cameraId].
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "pd_test_support.h"

namespace pd_test {
namespace {

constexpr uint32_t kCamera = 2;

// One instance call: "<instance> <operation>[ <get param type>]", and what it was given.
struct Call {
    std::string what;
    const void* pArg;
};
std::vector<Call> g_calls;

// A fake algorithm instance. Its answers are set per operation ("getparam <type>" for
// PDLibGetParam) and taken in turn, the last one for every later call; 0 when none is set.
struct Instance {
    VEXPDLib ops;
    std::map<std::string, std::deque<uint32_t>> answers;
    uint8_t hwOverrideFill;
    PDLibSensorOverrideAnswer sensorOverride;
};
Instance g_instances[2];

uint32_t Record(VEXPDLib* pPDLib, const std::string& operation, const void* pArg) {
    const int index = pPDLib == &g_instances[0].ops ? 0 : 1;
    g_calls.push_back({std::to_string(index + 1) + " " + operation, pArg});
    std::deque<uint32_t>& answers = g_instances[index].answers[operation];
    const uint32_t answer = answers.empty() ? 0 : answers.front();
    if (answers.size() > 1) {
        answers.pop_front();
    }
    return answer;
}

uint32_t GetParam(VEXPDLib* pPDLib, PDLibGetParams* pGetParam) {
    Instance& self = g_instances[pPDLib == &g_instances[0].ops ? 0 : 1];
    const uint32_t answer =
        Record(pPDLib, "getparam " + std::to_string(pGetParam->type), pGetParam);
    if (pGetParam->type == PDLibGetParamHWOverride) {
        std::memset(pGetParam->answer.hwOverride, self.hwOverrideFill, kPDLibHWOverrideSize);
    } else if (pGetParam->type == PDLibGetParamSensorOverride) {
        pGetParam->answer.sensorOverride = self.sensorOverride;
    }
    return answer;
}

const VEXPDLib kOperations = {
    [](VEXPDLib* p, const PDLibCreateParams* pArg) { return Record(p, "init", pArg); },
    [](VEXPDLib* p, const PDLibDestroyParamList* pArg) { return Record(p, "destroy", pArg); },
    [](VEXPDLib* p, const PDLibConfigParams* pArg) { return Record(p, "configure", pArg); },
    GetParam,
    [](VEXPDLib* p, const PDLibInputs*, PDLibOutputs* pOut) { return Record(p, "process", pOut); }};

PDLibConfigParamEntry Entry(void* pParam, uint32_t type = 0) { return {pParam, {}, type}; }

// Checks a dispatch call's code, the instance calls that it made and its stats messages, each
// list joined by "|". Messages are compared as "<level> <line>" unless a text is expected.
#define EXPECT_DISPATCH(CALL, CODE, CALLS, STATS) Check(__LINE__, CALL, CODE, CALLS, STATS)

class DispatchTest : public PdFrontTest {
protected:
    void SetUp() override {
        PdFrontTest::SetUp();
        for (Instance& instance : g_instances) {
            instance = Instance{kOperations, {}, 0, {}};
        }
        g_calls.clear();
        g_pPDLib1 = Lib(1);
        g_pPDLib2[kCamera] = Lib(2);
        m_create.cameraId = kCamera;
        m_input.cameraId = kCamera;
        m_input.pHWBlock = &m_block;
        m_pParams->cameraId = kCamera;
        m_pParams->input.requestId = 123456789012ull;
    }

    static VEXPDLib* Lib(int id) { return &g_instances[id - 1].ops; }

    void Check(int line, uint32_t code, uint32_t expected, const std::string& calls,
               const std::string& stats) {
        ::testing::ScopedTrace trace(__FILE__, line, "");
        EXPECT_EQ(code, expected);
        std::string made, logged;
        for (const Call& call : g_calls) {
            made += (made.empty() ? "" : "|") + call.what;
        }
        const bool exact = stats.find("CID") != std::string::npos;
        for (const std::string& text : TakeStats()) {
            logged += (logged.empty() ? "" : "|") +
                      text.substr(0, exact ? text.npos : text.find(" CID"));
        }
        EXPECT_EQ(made, calls);
        EXPECT_EQ(logged, stats);
        m_lastCalls = std::exchange(g_calls, {});
    }

    uint32_t Init() { return Zyra::PDLibInitialize(m_pAny, &m_create); }
    uint32_t Process() { return Zyra::PDLibProcess(m_pAny, &m_input, Output()); }
    PDLibOutputs* Output() { return reinterpret_cast<PDLibOutputs*>(&m_output); }
    uint32_t GetParam() { return Zyra::PDLibGetParam(m_pAny, m_pParams.get()); }
    uint32_t Configure(std::vector<PDLibConfigParamEntry> entries) {
        m_configEntries = std::move(entries);
        m_config = {m_configEntries.data(), static_cast<uint32_t>(m_configEntries.size())};
        return Zyra::PDLibConfigure(m_pAny, &m_config);
    }
    uint32_t Destroy(std::vector<PDLibParamEntry> entries) {
        m_destroyEntries = std::move(entries);
        m_destroy = {m_destroyEntries.data(), static_cast<uint32_t>(m_destroyEntries.size())};
        Zyra::PDLibDestroy(m_pAny, &m_destroy);
        return 0;
    }
    PDLibParamEntry DestroyCamera(uint32_t cameraId) {
        m_cameraBlocks.push_back(PDLibCameraInfo{{}, cameraId});
        return {PDLibDestroyParamTypeCameraInfo, &m_cameraBlocks.back(), 8};
    }

    VEXPDLib m_any{};  // the instance passed in is only tested for null: calling it would crash
    VEXPDLib* const m_pAny = &m_any;
    std::vector<Call> m_lastCalls;
    PDLibCreateParams m_create{};
    PDLibHWBlock m_block{};
    PDLibInputs m_input{};
    uint64_t m_output = 0;
    std::unique_ptr<PDLibGetParams> m_pParams = std::make_unique<PDLibGetParams>();
    std::vector<PDLibConfigParamEntry> m_configEntries;
    PDLibConfigParams m_config{};
    std::vector<PDLibParamEntry> m_destroyEntries;
    PDLibDestroyParamList m_destroy{};
    std::deque<PDLibCameraInfo> m_cameraBlocks;
};

TEST_F(DispatchTest, NullArgumentsAnswerFiveButGetParamAnswersOne) {
    EXPECT_DISPATCH(Zyra::PDLibInitialize(nullptr, &m_create), 5, "", "2 177");
    EXPECT_DISPATCH(Zyra::PDLibInitialize(m_pAny, nullptr), 5, "", "2 177");
    EXPECT_DISPATCH(Zyra::PDLibProcess(nullptr, &m_input, Output()), 5, "", "2 237");
    EXPECT_DISPATCH(Zyra::PDLibProcess(m_pAny, &m_input, nullptr), 5, "", "2 237");
    EXPECT_DISPATCH(Zyra::PDLibConfigure(m_pAny, nullptr), 5, "", "2 303");
    EXPECT_DISPATCH(Zyra::PDLibGetParam(nullptr, m_pParams.get()), 1, "", "2 382");
    EXPECT_DISPATCH(Zyra::PDLibGetParam(m_pAny, nullptr), 1, "", "2 382");
    EXPECT_DISPATCH((Zyra::PDLibDestroy(nullptr, &m_destroy), 0), 0, "", "2 563");
    EXPECT_TRUE(Zyra::IsCameraIDValid(0) && Zyra::IsCameraIDValid(9));
    EXPECT_DISPATCH(Zyra::IsCameraIDValid(10), false, "",
                    "2 153 CID:[7] Wrong cameraId 10 MaxNumCameras 10");
}

TEST_F(DispatchTest, InitializeNeedsBothInstancesAndStopsAtTheFirstFailure) {
    EXPECT_DISPATCH(Init(), 0, "1 init|2 init", "32 205");
    EXPECT_EQ(m_lastCalls[1].pArg, &m_create);
    g_instances[0].answers["init"] = {4, 0};
    EXPECT_DISPATCH(Init(), 1, "1 init", "2 194");
    g_instances[1].answers["init"] = {8};  // instance 1 is not rolled back
    EXPECT_DISPATCH(Init(), 1, "1 init|2 init",
                    "2 201 CID:[7] pPDLibDataPDLib 2[2]->PDLibInitialize result 8.");
    m_create.cameraId = 10;
    EXPECT_DISPATCH(Init(), 1, "", "2 153");
    m_create.cameraId = 3;
    EXPECT_DISPATCH(Init(), 5, "", "2 209");
}

TEST_F(DispatchTest, ProcessGoesToTheOneInstanceThatTheHardwareBlockChooses) {
    g_instances[0].answers["process"] = {9};
    g_instances[1].answers["process"] = {11};
    // Instance 2 only when the second library is active and the override is not 1.
    const uint32_t routes[][3] = {{0, 2, 0}, {1, 1, 0}, {1, 0, 1}, {7, ~0u, 1}};
    for (const auto& route : routes) {
        m_block.secondLibActive = route[0];
        m_block.hwOverrideActive = route[1];
        EXPECT_DISPATCH(Process(), route[2] ? 11 : 9, route[2] ? "2 process" : "1 process",
                        route[2] ? "32 270" : "32 256");
        EXPECT_EQ(m_lastCalls[0].pArg, Output());
    }
    // Only the chosen instance needs to be there.
    g_pPDLib2[kCamera] = nullptr;
    EXPECT_DISPATCH(Process(), 5, "", "2 274 CID:[7] cameraId 2 Null pointer g_pPDLib2");
    m_block.secondLibActive = 0;
    EXPECT_DISPATCH(Process(), 9, "1 process",
                    "32 256 CID:[7] pPDLibDataPDLib 1[2]->PDLibProcess result 9");
    g_pPDLib1 = nullptr;
    EXPECT_DISPATCH(Process(), 5, "", "2 260");
}

TEST_F(DispatchTest, ConfigureWalksTheListAndAnswersTheCodeOfTheLastCall) {
    g_instances[1].answers["configure"] = {3, 0};
    EXPECT_DISPATCH(Configure({Entry(&m_create, 1), Entry(&m_create)}), 3,
                    "1 configure|2 configure", "2 353|32 332|32 334");
    EXPECT_EQ(m_lastCalls[1].pArg, &m_config);  // the whole list, not the entry
    // A failure of instance 1 skips instance 2 for that entry; a later success hides it.
    g_instances[0].answers["configure"] = {6, 0};
    EXPECT_DISPATCH(Configure({Entry(&m_create), Entry(&m_create)}), 0,
                    "1 configure|1 configure|2 configure", "32 332|32 334");
    EXPECT_DISPATCH(Configure({Entry(nullptr), Entry(&m_create)}), 1, "", "2 347");
    PDLibCreateParams camera{};
    camera.cameraId = 5;
    EXPECT_DISPATCH(Configure({Entry(&m_create), Entry(&camera)}), 5, "1 configure|2 configure",
                    "32 332|32 334|2 340");
}

TEST_F(DispatchTest, GetParamRoutesEachTypeAfterCheckingBothInstances) {
    // {type, instance, result, stats}
    const std::tuple<uint32_t, int, uint32_t, const char*> gets[] = {
        {2, 1, 7, "32 510"}, {3, 2, 4, "32 522"}, {1, 2, 0, "32 533"}, {100, 2, 12, ""}};
    for (const auto& [type, instance, result, pStats] : gets) {
        const std::string operation = "getparam " + std::to_string(type);
        g_instances[instance - 1].answers = {{operation, {result}}};
        m_pParams->type = type;
        EXPECT_DISPATCH(GetParam(), result, std::to_string(instance) + " " + operation, pStats);
    }
    g_pPDLib2[kCamera] = nullptr;  // needed even for a type that instance 1 serves alone
    EXPECT_DISPATCH(GetParam(), 1, "", "2 395");
    g_pPDLib2[kCamera] = Lib(2);
    g_instances[1].ops.PDLibGetParam = nullptr;
    EXPECT_DISPATCH(GetParam(), 1, "", "2 402");
}

TEST_F(DispatchTest, HWConfigAsksInstance1ForOverridesAndInstance2ForTheAnswer) {
    const std::string both = "1 getparam 5|2 getparam 0";
    g_instances[0].hwOverrideFill = 0x3C;
    m_pParams->overrideEnable = m_pParams->sadRangeOverride = 1;
    const int16_t ranges[] = {-3, 14, 25, -36};  // H1 then H2
    std::memcpy(m_pParams->h1Range, ranges, sizeof(ranges));
    EXPECT_DISPATCH(GetParam(), 0, both, "32 436 CID:[7] sad range override H1 14 -3 H2 -36 25");
    EXPECT_NE(m_lastCalls[0].pArg, m_pParams.get());  // a scratch record
    EXPECT_EQ(m_lastCalls[1].pArg, m_pParams.get());
    const uint8_t* pOverride = m_pParams->input.hwOverride;
    EXPECT_EQ(std::count(pOverride, pOverride + kPDLibHWOverrideSize, 0x3C), 2024);
    m_pParams->overrideEnable = 0;

    // A failed override is not copied and does not end the request.
    g_instances[0].answers["getparam 5"] = {9, 0};
    g_instances[0].hwOverrideFill = 0x77;
    EXPECT_DISPATCH(GetParam(), 0, both, "2 453");
    EXPECT_EQ(m_pParams->input.hwOverride[0], 0x3C);
    // Instance 2's failure is the answer, and no sensor override is asked for.
    g_instances[1].answers["getparam 0"] = {13, 0};
    m_pParams->input.sensorOverrideWanted = 1;
    EXPECT_DISPATCH(GetParam(), 13, both, "32 498");
    // The sensor override is asked for when wanted is 1, and only a valid answer is taken.
    m_pParams->isVPDDataReal = 99;
    g_instances[0].sensorOverride = {0, 5};
    EXPECT_DISPATCH(GetParam(), 0, both + "|1 getparam 6", "");
    EXPECT_EQ(m_pParams->isVPDDataReal, 99u);
    g_instances[0].sensorOverride = {1, 5};
    EXPECT_DISPATCH(GetParam(), 0, both + "|1 getparam 6", "32 482");
    EXPECT_EQ(m_pParams->isVPDDataReal, 5u);
}

TEST_F(DispatchTest, DestroyCallsBothInstancesAndReportsTheMissingMutex) {
    g_instances[0].answers["destroy"] = {3};  // not looked at
    EXPECT_DISPATCH(Destroy({DestroyCamera(9), {2, nullptr, 0}, DestroyCamera(kCamera)}), 0,
                    "1 destroy|2 destroy", "32 586|32 589|2 617");
    EXPECT_EQ(m_lastCalls[1].pArg, &m_destroy);
    EXPECT_EQ(g_pPDLib2[kCamera], Lib(2));
    EXPECT_DISPATCH(Destroy({{2, nullptr, 0}, {1, nullptr, 8}}), 0, "", "2 153");
    EXPECT_DISPATCH(Destroy({DestroyCamera(1)}), 0, "", "2 622");
}

}  // namespace
}  // namespace pd_test
