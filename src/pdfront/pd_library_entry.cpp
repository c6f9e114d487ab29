// The exported entry, the three table operations of the front and the library-wide
// variables.
#include "pdfront/pd_front.h"
#include "pdfront/pd_logging.h"

extern "C" {

PDLibWrapperSlot g_PDLibWrapper[Zyra::MaxNumCameras] = {};
PDLibWrapperSlot g_PDLibWrapper2[Zyra::MaxNumCameras] = {};
void* g_pPDLibWrapper = nullptr;
VEXPDLib* g_pPDLib1 = nullptr;
VEXPDLib* g_pPDLib2[Zyra::MaxNumCameras] = {};

const char* pDefaultPDLibName = "com.ovi.stats.pdlib";
const char* pDefaultStaticPDLibName = "com.ovistatic.stats.pdlib";
const char* pPDLIBEntryFunctionName = "VexPDLibraryEntry";
const char* pPDLibName2 = "com.ovi.stats.pdlib";
const char* pPDLIBEntryFunctionName2 = "VexPDLibraryEntry";

}  // extern "C"

namespace {

// The switch between one and two algorithm libraries. It comes from no setting: in this
// system it is always 0, so the table leads to CreatePDLibWrapper.
constexpr uint32_t kEnable2PDLibsMask = 0;

}  // namespace

extern "C" {

void VexPDLibraryEntry(PDLibraryCallbacks* pCallBacks) {
    PD_LOG_INFO(1028, "VexPDLibraryEntry");

    if (pCallBacks == nullptr) {
        PD_LOG_ERROR(1051, "Invalid argument: pCallBacks is NULL");
        return;
    }
    if (pCallBacks->size < sizeof(PDLibraryCallbacks)) {
        PD_LOG_ERROR(1055, "pCallBacks is smaller than expected");
        return;
    }

    const uint32_t enable2PDLibsMask = kEnable2PDLibsMask;
    pCallBacks->pfnGetCapabilities = PDWrapperGetCapabilities;
    pCallBacks->pfnQueryVendorTag = PDWrapperQueryVendorTag;
    pCallBacks->pfnCreate =
        enable2PDLibsMask != 0 ? CreatePDLibWrapperHandleMultiPDLib : CreatePDLibWrapper;
    pCallBacks->pfnSetNodeInterface = PDWrapperSetNodeInterface;

    PD_LOG_VERB(1074, "VexPDLibraryEntry enable2PDLibsMask %d", enable2PDLibsMask);
}

uint32_t PDWrapperGetCapabilities(void* /*pCapabilities*/) { return 0; }

// Both fan-outs visit all 20 slots in rising camera order, first table before second, and
// skip the slots whose operation is null. Results are ignored; no lock is taken.
uint32_t PDWrapperQueryVendorTag(void* pQueryVendorTag) {
    if (pQueryVendorTag == nullptr) {
        PD_STATS_LOG(Zyra::PDFront::kStatsLevelWarning, 1008,
                     "CID:[%d] Invalid pQueryVendorTag pointer");
        return 0;
    }
    for (uint32_t index = 0; index < Zyra::MaxNumCameras; ++index) {
        if (g_PDLibWrapper[index].callbacks.pfnQueryVendorTag != nullptr) {
            g_PDLibWrapper[index].callbacks.pfnQueryVendorTag(pQueryVendorTag);
        }
        if (g_PDLibWrapper2[index].callbacks.pfnQueryVendorTag != nullptr) {
            g_PDLibWrapper2[index].callbacks.pfnQueryVendorTag(pQueryVendorTag);
        }
    }
    return 0;
}

void PDWrapperSetNodeInterface(void* pNodeInterface) {
    if (pNodeInterface == nullptr) {
        PD_STATS_LOG(Zyra::PDFront::kStatsLevelWarning, 972, "CID:[%d] Invalid Algo interface");
        return;
    }
    for (uint32_t index = 0; index < Zyra::MaxNumCameras; ++index) {
        if (g_PDLibWrapper[index].callbacks.pfnSetNodeInterface != nullptr) {
            g_PDLibWrapper[index].callbacks.pfnSetNodeInterface(pNodeInterface);
        }
        if (g_PDLibWrapper2[index].callbacks.pfnSetNodeInterface != nullptr) {
            g_PDLibWrapper2[index].callbacks.pfnSetNodeInterface(pNodeInterface);
        }
    }
}

}  // extern "C"
