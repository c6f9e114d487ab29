// The dual-instance dispatch: one instance g_pPDLib1 shared by all cameras,
// one instance g_pPDLib2[cameraId] per camera. The instance passed in is only tested for
// null. All messages go through the stats logger.
#include <cstring>

#include "pdfront/pd_front.h"
#include "pdfront/pd_logging.h"

namespace {

using Zyra::PDFront::kStatsLevelError;
using Zyra::PDFront::kStatsLevelInfo;
using Zyra::PDFront::kStatsLevelWarning;

constexpr uint32_t kResultSuccess = 0;
constexpr uint32_t kResultFailure = 1;
constexpr uint32_t kResultNullPointer = 5;
constexpr uint32_t kNoCamera = Zyra::MaxNumCameras;

void* AsPointer(const void* pValue) { return const_cast<void*>(pValue); }
template <typename Function>
void* FunctionAsPointer(Function pFunction) {
    return reinterpret_cast<void*>(pFunction);
}

// Camera id of a destroy list: the last type-1 entry with a block wins; 10 without one. A
// null entry array counts as an empty list.
uint32_t ReadDestroyCameraId(const PDLibDestroyParamList* pDestroyParams) {
    uint32_t cameraId = kNoCamera;
    if (pDestroyParams->pParams == nullptr) {
        return cameraId;
    }
    for (uint32_t index = 0; index < pDestroyParams->count; ++index) {
        const PDLibParamEntry& entry = pDestroyParams->pParams[index];
        if (entry.type == PDLibDestroyParamTypeCameraInfo && entry.pParam != nullptr) {
            cameraId = static_cast<const PDLibCameraInfo*>(entry.pParam)->cameraId;
        }
    }
    return cameraId;
}

// PDLibGetParamHWConfig: the hardware override of instance 1, then instance 2 itself, then
// the sensor override of instance 1 when it is wanted. Kept apart so that only this type
// pays for the 48 KiB scratch record on the stack.
__attribute__((noinline)) uint32_t GetHWConfig(VEXPDLib* pPDLib1, VEXPDLib* pPDLib2,
                                               uint32_t cameraId, PDLibGetParams* pGetParam) {
    PDLibGetParams scratch;
    std::memset(&scratch, 0, sizeof(scratch));
    scratch.type = PDLibGetParamHWOverride;
    scratch.cameraId = cameraId;
    uint32_t result = pPDLib1->PDLibGetParam(pPDLib1, &scratch);
    if (result == kResultSuccess) {
        std::memcpy(pGetParam->input.hwOverride, scratch.answer.hwOverride,
                    sizeof(pGetParam->input.hwOverride));
        // These read the caller's record and only log.
        if (pGetParam->overrideEnable == 1) {
            if (pGetParam->sadRangeOverride == 1) {
                PD_STATS_LOG(kStatsLevelInfo, 436, "CID:[%d] sad range override H1 %d %d H2 %d %d",
                             pGetParam->h1Range[1], pGetParam->h1Range[0], pGetParam->h2Range[1],
                             pGetParam->h2Range[0]);
            }
            if (pGetParam->filterCoefficientsOverride == 1) {
                PD_STATS_LOG(kStatsLevelInfo, 444,
                             "CID:[%d] filterCoefficients.override H1IIR override %d %d ",
                             pGetParam->h1IIROverride[0], pGetParam->h1IIROverride[1]);
            }
        }
    } else {
        // The failed override does not end the request.
        PD_STATS_LOG(kStatsLevelError, 453,
                     "CID:[%d] cameraId %d requestId %llu PDLibGetParamHWOverride failed %d",
                     cameraId, static_cast<unsigned long long>(pGetParam->input.requestId), result);
    }

    result = pPDLib2->PDLibGetParam(pPDLib2, pGetParam);
    if (result != kResultSuccess) {
        PD_STATS_LOG(kStatsLevelInfo, 498,
                     "CID:[%d] requestId %llu pPDLibDataPDLib 2[%d]->pGetParam "
                     "PDLibGetParamHWConfig failed result %d",
                     static_cast<unsigned long long>(pGetParam->input.requestId), cameraId, result);
        return result;
    }
    if (pGetParam->input.sensorOverrideWanted != 1) {
        return kResultSuccess;
    }

    std::memset(&scratch, 0, sizeof(scratch));
    scratch.type = PDLibGetParamSensorOverride;
    scratch.cameraId = cameraId;
    std::memcpy(&scratch.input, &pGetParam->input, sizeof(scratch.input));
    const uint32_t overrideResult = pPDLib1->PDLibGetParam(pPDLib1, &scratch);
    if (overrideResult != kResultSuccess) {
        PD_STATS_LOG(kStatsLevelWarning, 490,
                     "CID:[%d] cameraId %d requestId %llu PDLibGetParamSensorOverride failed %d",
                     cameraId, static_cast<unsigned long long>(pGetParam->input.requestId),
                     overrideResult);
        return result;  // instance 2's code, 0
    }
    if (scratch.answer.sensorOverride.valid == 1) {
        pGetParam->isVPDDataReal = scratch.answer.sensorOverride.isVPDDataReal;
        PD_STATS_LOG(kStatsLevelInfo, 482,
                     "CID:[%d] cameraId %d requestId %llu SensorOverride isVPDDataReal %d",
                     cameraId, static_cast<unsigned long long>(pGetParam->input.requestId),
                     pGetParam->isVPDDataReal);
    }
    return kResultSuccess;
}

}  // namespace

namespace Zyra {

bool IsCameraIDValid(uint32_t cameraId) {
    if (cameraId < MaxNumCameras) {
        return true;
    }
    PD_STATS_LOG(kStatsLevelError, 153, "CID:[%d] Wrong cameraId %d MaxNumCameras %d", cameraId,
                 MaxNumCameras);
    return false;
}

uint32_t PDLibInitialize(VEXPDLib* pPDLib, const PDLibCreateParams* pCreateParam) {
    if (pPDLib == nullptr || pCreateParam == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 177, "CID:[%d] Null pointer pPDLib %p pCreateParam %p",
                     AsPointer(pPDLib), AsPointer(pCreateParam));
        return kResultNullPointer;
    }
    const uint32_t cameraId = pCreateParam->cameraId;
    if (!IsCameraIDValid(cameraId)) {
        return kResultFailure;
    }
    VEXPDLib* pPDLib1 = g_pPDLib1;
    VEXPDLib* pPDLib2 = g_pPDLib2[cameraId];
    if (pPDLib1 == nullptr || pPDLib2 == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 209, "CID:[%d] Null pointer g_pPDLib1 %p g_pPDLib2[%d] %p",
                     AsPointer(pPDLib1), cameraId, AsPointer(pPDLib2));
        return kResultNullPointer;
    }

    uint32_t result = pPDLib1->PDLibInitialize(pPDLib1, pCreateParam);
    if (result != kResultSuccess) {
        PD_STATS_LOG(kStatsLevelError, 194,
                     "CID:[%d] pPDLibDataPDLib 1[%d]->PDLibInitialize result %d.", cameraId,
                     result);
        return kResultFailure;
    }
    // No roll-back: instance 1 stays initialized when instance 2 fails.
    result = pPDLib2->PDLibInitialize(pPDLib2, pCreateParam);
    if (result != kResultSuccess) {
        PD_STATS_LOG(kStatsLevelError, 201,
                     "CID:[%d] pPDLibDataPDLib 2[%d]->PDLibInitialize result %d.", cameraId,
                     result);
        return kResultFailure;
    }
    PD_STATS_LOG(kStatsLevelInfo, 205,
                 "CID:[%d] pPDLibDataPDLib 1 & pPDLibDataPDLib 2[%d] PDLibInitialize succeed",
                 cameraId);
    return kResultSuccess;
}

// Per frame: exactly one instance gets the call, and only that one is tested for null.
uint32_t PDLibProcess(VEXPDLib* pPDLib, const PDLibInputs* pInput, PDLibOutputs* pOutput) {
    if (pPDLib == nullptr || pInput == nullptr || pOutput == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 237, "CID:[%d] Null pointer pPDLib %p pInput %p pOutput %p",
                     AsPointer(pPDLib), AsPointer(pInput), AsPointer(pOutput));
        return kResultNullPointer;
    }
    const uint32_t cameraId = pInput->cameraId;
    const PDLibHWBlock* pHWBlock = pInput->pHWBlock;
    if (!IsCameraIDValid(cameraId)) {
        return kResultFailure;
    }

    if (pHWBlock->secondLibActive != 0 && pHWBlock->hwOverrideActive != 1) {
        VEXPDLib* pPDLib2 = g_pPDLib2[cameraId];
        if (pPDLib2 == nullptr) {
            PD_STATS_LOG(kStatsLevelError, 274, "CID:[%d] cameraId %d Null pointer g_pPDLib2",
                         cameraId);
            return kResultNullPointer;
        }
        const uint32_t result = pPDLib2->PDLibProcess(pPDLib2, pInput, pOutput);
        PD_STATS_LOG(kStatsLevelInfo, 270, "CID:[%d] pPDLibDataPDLib 2[%d]->PDLibProcess result %d",
                     cameraId, result);
        return result;
    }

    VEXPDLib* pPDLib1 = g_pPDLib1;
    if (pPDLib1 == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 260, "CID:[%d] cameraId %d Null pointer g_pPDLib1",
                     cameraId);
        return kResultNullPointer;
    }
    const uint32_t result = pPDLib1->PDLibProcess(pPDLib1, pInput, pOutput);
    PD_STATS_LOG(kStatsLevelInfo, 256, "CID:[%d] pPDLibDataPDLib 1[%d]->PDLibProcess result %d",
                 cameraId, result);
    return result;
}

uint32_t PDLibConfigure(VEXPDLib* pPDLib, const PDLibConfigParams* pConfig) {
    if (pPDLib == nullptr || pConfig == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 303, "CID:[%d] Null pointer pPDLib %p pConfig %p",
                     AsPointer(pPDLib), AsPointer(pConfig));
        return kResultNullPointer;
    }

    // The code of the last instance call made; an earlier failure can be hidden by it.
    uint32_t result = kResultSuccess;
    // The count (and the entries) are read again on each turn. A null entry array counts as
    // an empty list.
    for (uint32_t index = 0; pConfig->pParams != nullptr && index < pConfig->count; ++index) {
        const PDLibConfigParamEntry& entry = pConfig->pParams[index];
        if (entry.type != PDLibConfigParamTypeCreate) {
            PD_STATS_LOG(kStatsLevelError, 353, "CID:[%d] Unsupported ConfigParam Type %d",
                         entry.type);
            continue;
        }
        if (entry.pParam == nullptr) {
            PD_STATS_LOG(kStatsLevelError, 347, "CID:[%d] Null pCreateParam ");
            return kResultFailure;
        }
        const uint32_t cameraId = static_cast<const PDLibCreateParams*>(entry.pParam)->cameraId;
        if (!IsCameraIDValid(cameraId)) {
            return kResultFailure;
        }
        VEXPDLib* pPDLib1 = g_pPDLib1;
        VEXPDLib* pPDLib2 = g_pPDLib2[cameraId];
        if (pPDLib1 == nullptr || pPDLib2 == nullptr) {
            PD_STATS_LOG(kStatsLevelError, 340,
                         "CID:[%d] Null pointer g_pPDLib1 %p g_pPDLib2[%d] %p", AsPointer(pPDLib1),
                         cameraId, AsPointer(pPDLib2));
            return kResultNullPointer;
        }

        result = pPDLib1->PDLibConfigure(pPDLib1, pConfig);
        if (result != kResultSuccess) {
            continue;  // instance 2 is not called for this entry
        }
        PD_STATS_LOG(kStatsLevelInfo, 332, "CID:[%d] pPDLibDataPDLib 1[%d]->PDLibConfigure succeed",
                     cameraId);
        result = pPDLib2->PDLibConfigure(pPDLib2, pConfig);
        PD_STATS_LOG(kStatsLevelInfo, 334,
                     "CID:[%d] pPDLibDataPDLib 2[%d]->PDLibConfigure result %d", cameraId, result);
    }
    return result;
}

uint32_t PDLibGetParam(VEXPDLib* pPDLib, PDLibGetParams* pGetParam) {
    // This operation answers 1 where the others answer 5.
    if (pPDLib == nullptr || pGetParam == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 382, "CID:[%d] Null pointer pPDLibData %p pGetParam %p",
                     AsPointer(pPDLib), AsPointer(pGetParam));
        return kResultFailure;
    }
    const uint32_t cameraId = pGetParam->cameraId;
    if (!IsCameraIDValid(cameraId)) {
        return kResultFailure;
    }
    VEXPDLib* pPDLib1 = g_pPDLib1;
    VEXPDLib* pPDLib2 = g_pPDLib2[cameraId];
    if (pPDLib1 == nullptr || pPDLib2 == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 395,
                     "CID:[%d] Null pointer cameraId %d g_pPDLib1 %p g_pPDLib2 %p ", cameraId,
                     AsPointer(pPDLib1), AsPointer(pPDLib2));
        return kResultFailure;
    }
    if (pPDLib1->PDLibGetParam == nullptr || pPDLib2->PDLibGetParam == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 402,
                     "CID:[%d] Null pointer cameraId %d PDLib1GetParam %p PDLib2GetParam %p",
                     cameraId, FunctionAsPointer(pPDLib1->PDLibGetParam),
                     FunctionAsPointer(pPDLib2->PDLibGetParam));
        return kResultFailure;
    }

    const uint32_t type = pGetParam->type;
    uint32_t result = kResultSuccess;
    switch (type) {
        case PDLibGetParamHWConfig:
            return GetHWConfig(pPDLib1, pPDLib2, cameraId, pGetParam);

        case PDLibGetParamHWInfo:
            result = pPDLib1->PDLibGetParam(pPDLib1, pGetParam);
            if (result != kResultSuccess) {
                PD_STATS_LOG(kStatsLevelInfo, 510,
                             "CID:[%d] pPDLibDataPDLib 1[%d]->pGetParam PDLibGetParamHWInfo "
                             "failed result %d",
                             cameraId, result);
            }
            return result;

        case PDLibGetParamBufferInfo:
            result = pPDLib2->PDLibGetParam(pPDLib2, pGetParam);
            if (result != kResultSuccess) {
                PD_STATS_LOG(kStatsLevelInfo, 522,
                             "CID:[%d] pPDLibDataPDLib 2[%d]->pGetParam PDLibGetParamBufferInfo "
                             "failed result %d",
                             cameraId, result);
            }
            return result;

        default:
            result = pPDLib2->PDLibGetParam(pPDLib2, pGetParam);
            if (result == kResultSuccess) {
                PD_STATS_LOG(kStatsLevelInfo, 533,
                             "CID:[%d] pPDLibDataPDLib 2[%d]->pGetParam %d succeed.", cameraId,
                             type);
            }
            return result;
    }
}

void PDLibDestroy(VEXPDLib* pPDLib, const PDLibDestroyParamList* pDestroyParams) {
    if (pPDLib == nullptr || pDestroyParams == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 563, "CID:[%d] Null pointer pPDLib %p pDestroyParams %p",
                     AsPointer(pPDLib), AsPointer(pDestroyParams));
        return;
    }
    const uint32_t cameraId = ReadDestroyCameraId(pDestroyParams);
    if (!IsCameraIDValid(cameraId)) {
        return;
    }
    VEXPDLib* pPDLib1 = g_pPDLib1;
    VEXPDLib* pPDLib2 = g_pPDLib2[cameraId];
    if (pPDLib1 == nullptr || pPDLib2 == nullptr) {
        PD_STATS_LOG(kStatsLevelError, 622, "CID:[%d] Null pointer g_pPDLib1 %p g_pPDLib2[%d] %p",
                     AsPointer(pPDLib1), cameraId, AsPointer(pPDLib2));
        return;
    }

    // Both pointers keep their values: the shared instance 1 is destroyed once per camera.
    pPDLib1->PDLibDestroy(pPDLib1, pDestroyParams);
    PD_STATS_LOG(kStatsLevelInfo, 586, "CID:[%d] pPDLibDataPDLib 1[%d]->PDLibDestroy", cameraId);
    pPDLib2->PDLibDestroy(pPDLib2, pDestroyParams);
    PD_STATS_LOG(kStatsLevelInfo, 589, "CID:[%d] pPDLibDataPDLib 2[%d]->PDLibDestroy", cameraId);
    // The mutex that was to guard the pair does not exist, so each good destroy says so.
    PD_STATS_LOG(kStatsLevelError, 617, "CID:[%d] Null pointer g_pAFPDlibMutex");
}

}  // namespace Zyra
