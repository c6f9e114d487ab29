// A fake PD algorithm library (see fake_pd_algo.h), built as a loadable module.
#include "fake_pd_algo.h"

#include <cstring>

#define FAKE_PD_EXPORT __attribute__((visibility("default")))

namespace fake_pd {
namespace {

Control MakeDefaultControl() {
    Control control{};
    control.fillGetCapabilities = true;
    control.fillQueryVendorTag = true;
    control.fillCreate = true;
    control.fillSetNodeInterface = true;
    control.createGivesInstance = true;
    return control;
}

// Static storage only: instances are handed out of this pool and never freed, so that
// instances the front leaves behind on purpose are not reported as leaks.
Control g_control = MakeDefaultControl();

void Notify(uint32_t event, const void* pArg) {
    if (g_control.pObserver != nullptr) {
        g_control.pObserver(g_control.pObserverContext, g_control.tag, event, pArg);
    }
}

Instance* Self(VEXPDLib* pPDLib) { return reinterpret_cast<Instance*>(pPDLib); }

Call* Record(Instance* pInstance, uint32_t operation, const void* pArg1, const void* pArg2) {
    Call* pCall = nullptr;
    if (pInstance->callCount < kMaxCalls) {
        pCall = &pInstance->calls[pInstance->callCount];
        *pCall = Call{};
        pCall->operation = operation;
        pCall->pArg1 = pArg1;
        pCall->pArg2 = pArg2;
    }
    ++pInstance->callCount;
    ++g_control.sequence;
    if (pCall != nullptr) {
        pCall->sequence = g_control.sequence;
    }
    return pCall;
}

// The code of this call of `operation`: scripted first, then `normal`.
uint32_t Answer(Instance* pInstance, uint32_t operation, uint32_t normal) {
    const uint32_t call = pInstance->opCalls[operation]++;
    if (call < pInstance->scriptedCount[operation] && call < 4) {
        return pInstance->scriptedResults[operation][call];
    }
    return normal;
}

uint32_t Initialize(VEXPDLib* pPDLib, const PDLibCreateParams* pCreateParams) {
    Record(Self(pPDLib), kOpInitialize, pCreateParams, nullptr);
    return Answer(Self(pPDLib), kOpInitialize, Self(pPDLib)->results[kOpInitialize]);
}

uint32_t Destroy(VEXPDLib* pPDLib, const PDLibDestroyParamList* pDestroyParams) {
    Record(Self(pPDLib), kOpDestroy, pDestroyParams, nullptr);
    return Answer(Self(pPDLib), kOpDestroy, Self(pPDLib)->results[kOpDestroy]);
}

uint32_t Configure(VEXPDLib* pPDLib, const PDLibConfigParams* pConfig) {
    Instance* pInstance = Self(pPDLib);
    Record(pInstance, kOpConfigure, pConfig, nullptr);
    if (pInstance->configureSetsCount >= 0 && pConfig != nullptr) {
        // The tests hand over lists that are not const objects.
        const_cast<PDLibConfigParams*>(pConfig)->count =
            static_cast<uint32_t>(pInstance->configureSetsCount);
    }
    return Answer(pInstance, kOpConfigure, pInstance->results[kOpConfigure]);
}

uint32_t GetParam(VEXPDLib* pPDLib, PDLibGetParams* pGetParam) {
    Instance* pInstance = Self(pPDLib);
    Call* pCall = Record(pInstance, kOpGetParam, pGetParam, nullptr);
    if (pGetParam == nullptr) {
        return Answer(pInstance, kOpGetParam, pInstance->results[kOpGetParam]);
    }
    if (pCall != nullptr) {
        pCall->getParamType = pGetParam->type;
        pCall->getParamCameraId = pGetParam->cameraId;
        pCall->requestId = pGetParam->input.requestId;
        pCall->inputAreaHash = HashBytes(&pGetParam->input, sizeof(pGetParam->input));
    }
    const uint32_t type = pGetParam->type;
    if (type == PDLibGetParamHWOverride) {
        std::memset(pGetParam->answer.hwOverride, pInstance->hwOverrideFill,
                    sizeof(pGetParam->answer.hwOverride));
    } else if (type == PDLibGetParamSensorOverride) {
        pGetParam->answer.sensorOverride.valid = pInstance->sensorOverrideValid;
        pGetParam->answer.sensorOverride.isVPDDataReal = pInstance->sensorOverrideIsVPDDataReal;
    }
    return Answer(
        pInstance, kOpGetParam,
        type < kGetParamTypes ? pInstance->getParamResults[type] : pInstance->results[kOpGetParam]);
}

uint32_t Process(VEXPDLib* pPDLib, const PDLibInputs* pInput, PDLibOutputs* pOutput) {
    Record(Self(pPDLib), kOpProcess, pInput, pOutput);
    return Answer(Self(pPDLib), kOpProcess, Self(pPDLib)->results[kOpProcess]);
}

uint32_t GetCapabilities(void* pCapabilities) {
    ++g_control.getCapabilitiesCalls;
    Notify(kEventGetCapabilities, pCapabilities);
    return 0;
}

uint32_t QueryVendorTag(void* pQueryVendorTag) {
    ++g_control.queryVendorTagCalls;
    g_control.lastQueryVendorTag = pQueryVendorTag;
    Notify(kEventQueryVendorTag, pQueryVendorTag);
    return 0;
}

void SetNodeInterface(void* pNodeInterface) {
    ++g_control.setNodeInterfaceCalls;
    g_control.lastNodeInterface = pNodeInterface;
    Notify(kEventSetNodeInterface, pNodeInterface);
}

uint32_t Create(VEXPDLib** ppPDLib, const PDLibCreateParamList* pCreateParams) {
    ++g_control.createCalls;
    g_control.lastCreateOut = ppPDLib;
    g_control.lastCreateParams = pCreateParams;
    Notify(kEventCreate, ppPDLib);
    if (g_control.createGivesInstance && ppPDLib != nullptr &&
        g_control.instanceCount < kMaxInstances) {
        Instance* pInstance = &g_control.instances[g_control.instanceCount];
        *pInstance = Instance{};
        pInstance->index = g_control.instanceCount++;
        pInstance->ops = VEXPDLib{Initialize, Destroy, Configure, GetParam, Process};
        pInstance->configureSetsCount = -1;
        *ppPDLib = &pInstance->ops;
    }
    return g_control.createResult;
}

}  // namespace
}  // namespace fake_pd

extern "C" {

FAKE_PD_EXPORT fake_pd::Control* FakePdAlgo_Control() { return &fake_pd::g_control; }

FAKE_PD_EXPORT void VexPDLibraryEntry(PDLibraryCallbacks* pCallBacks) {
    using fake_pd::g_control;
    ++g_control.entryCalls;
    g_control.entrySizeSeen = pCallBacks->size;
    g_control.entryReservedSeen = pCallBacks->pReserved;
    fake_pd::Notify(fake_pd::kEventEntry, pCallBacks);
    if (g_control.fillGetCapabilities) {
        pCallBacks->pfnGetCapabilities = fake_pd::GetCapabilities;
    }
    if (g_control.fillQueryVendorTag) {
        pCallBacks->pfnQueryVendorTag = fake_pd::QueryVendorTag;
    }
    if (g_control.fillCreate) {
        pCallBacks->pfnCreate = fake_pd::Create;
    }
    if (g_control.fillSetNodeInterface) {
        pCallBacks->pfnSetNodeInterface = fake_pd::SetNodeInterface;
    }
}

}  // extern "C"
