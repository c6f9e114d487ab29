// Loading of the algorithm libraries and the two create operations.
#include <cstring>

#include "pdfront/pd_front.h"
#include "pdfront/pd_logging.h"

namespace {

// Three copies of the library folder, as the two create functions name them.
const char* const pLibPath = "/usr/lib/camera/components/";
const char* const pLibPath1 = "/usr/lib/camera/components/";
const char* const pLibPath2 = "/usr/lib/camera/components/";
// Fall-back folder; with the separator it names "/usr/lib//<name>.so.0", doubled on purpose.
const char* const VendorLibPath = "/usr/lib/";
const char* const PathSeparator = "/";
const char* const SharedLibraryExtension = "so";
const char* const kLibraryVersion = "0";

constexpr size_t kPathBufferSize = 4096;
constexpr uint32_t kMinLibNameSize = 4;
constexpr uint32_t kNoCamera = Zyra::MaxNumCameras;

// The mutex that was to publish the two instances of the two-library form. It does not
// exist in this system, so that form never stores them (see step 13 below).
void* const g_pAFPDlibMutex = nullptr;

struct CreateParamSelection {
    const char* pLibName;
    uint32_t cameraId;
};

// Walks the list in order; a later entry of a type replaces an earlier one. A null entry
// array counts as an empty list.
CreateParamSelection ReadCreateParams(const PDLibCreateParamList* pCreateParams) {
    CreateParamSelection selection{nullptr, kNoCamera};
    if (pCreateParams == nullptr || pCreateParams->pParams == nullptr) {
        return selection;
    }
    for (uint32_t index = 0; index < pCreateParams->count; ++index) {
        const PDLibParamEntry& entry = pCreateParams->pParams[index];
        if (entry.pParam == nullptr) {
            continue;
        }
        if (entry.type == PDLibCreateParamTypeLibName && entry.size >= kMinLibNameSize) {
            selection.pLibName = static_cast<const char*>(entry.pParam);
        } else if (entry.type == PDLibCreateParamTypeCameraInfo) {
            selection.cameraId = static_cast<const PDLibCameraInfo*>(entry.pParam)->cameraId;
        }
    }
    return selection;
}

PFNPDLibraryEntry ToEntry(void* pAddress) { return reinterpret_cast<PFNPDLibraryEntry>(pAddress); }

}  // namespace

namespace Zyra {

void* LoadPDLib(void** pHandle, const char* pLibPath, const char* pLibName,
                const char* pEntryName) {
    // A null argument finds nothing rather than crash.
    if (pHandle == nullptr || pLibPath == nullptr || pLibName == nullptr || pEntryName == nullptr) {
        return nullptr;
    }

    char libraryPath[kPathBufferSize];
    OsUtils::SNPrintF(libraryPath, sizeof(libraryPath), "%s%s.%s.%s", pLibPath, pLibName,
                      SharedLibraryExtension, kLibraryVersion);
    *pHandle = OsUtils::LibMap(OsUtils::AddSoctoPath(libraryPath));
    if (*pHandle == nullptr) {
        OsUtils::SNPrintF(libraryPath, sizeof(libraryPath), "%s%s%s.%s.%s", VendorLibPath,
                          PathSeparator, pLibName, SharedLibraryExtension, kLibraryVersion);
        *pHandle = OsUtils::LibMap(OsUtils::AddSoctoPath(libraryPath));
        if (*pHandle == nullptr) {
            return nullptr;
        }
    }

    PD_LOG_VERB(129, "Loaded Algorithm Lib: %s Entry function %s", libraryPath, pEntryName);
    return OsUtils::LibGetAddr(*pHandle, pEntryName);
}

}  // namespace Zyra

extern "C" {

uint32_t CreatePDLibWrapper(VEXPDLib** ppPDLib, const PDLibCreateParamList* pCreateParams) {
    // A null list is taken as an empty one.
    if (pCreateParams == nullptr || pCreateParams->count == 0) {
        return 0;
    }

    const CreateParamSelection selection = ReadCreateParams(pCreateParams);
    const char* pLibName = selection.pLibName != nullptr ? selection.pLibName : pDefaultPDLibName;
    const uint32_t cameraId = selection.cameraId;
    if (cameraId >= Zyra::MaxNumCameras) {
        return 0;
    }

    // A handle that stood here is lost, never unmapped.
    PDLibWrapperSlot& slot = g_PDLibWrapper[cameraId];
    std::memset(&slot, 0, sizeof(slot));
    PFNPDLibraryEntry pEntry =
        ToEntry(Zyra::LoadPDLib(&slot.libHandle, pLibPath, pLibName, pPDLIBEntryFunctionName));
    if (pEntry == nullptr) {
        PD_STATS_LOG(Zyra::PDFront::kStatsLevelError, 922,
                     "CID:[%d] Not found PDLIB[CamId:%d] entry function", cameraId);
        return 0;
    }

    slot.callbacks.size = sizeof(PDLibraryCallbacks);
    pEntry(&slot.callbacks);
    if (slot.callbacks.pfnCreate == nullptr) {
        PD_STATS_LOG(Zyra::PDFront::kStatsLevelError, 917,
                     "CID:[%d] PDLIB[CamId:%d] create function is NULL pointer", cameraId);
        return 0;
    }
    return slot.callbacks.pfnCreate(ppPDLib, pCreateParams);
}

uint32_t CreatePDLibWrapperHandleMultiPDLib(VEXPDLib** /*ppPDLib*/,
                                            const PDLibCreateParamList* pCreateParams) {
    VEXPDLib* pPDLib1 = nullptr;
    VEXPDLib* pPDLib2 = nullptr;

    const CreateParamSelection selection = ReadCreateParams(pCreateParams);
    const uint32_t cameraId = selection.cameraId;
    PD_LOG_VERB(690, "cameraId %d pPDLibName1 %s", cameraId, selection.pLibName);
    const char* pPDLibName1 =
        selection.pLibName != nullptr ? selection.pLibName : pDefaultPDLibName;

    if (cameraId < Zyra::MaxNumCameras) {
        PDLibWrapperSlot& slot1 = g_PDLibWrapper[cameraId];
        bool loadLibrary1 = true;
        if (std::strcmp(pPDLibName1, pDefaultStaticPDLibName) == 0) {
            loadLibrary1 = slot1.libHandle == nullptr;
        } else {
            PD_LOG_INFO(706, "Loading PDLib %s for cameraId %d", pPDLibName1, cameraId);
        }

        if (loadLibrary1) {
            std::memset(&slot1, 0, sizeof(slot1));
            PFNPDLibraryEntry pEntry1 = ToEntry(
                Zyra::LoadPDLib(&slot1.libHandle, pLibPath1, pPDLibName1, pPDLIBEntryFunctionName));
            PD_LOG_VERB(719, "Reload PDLib %s for g_PDLibWrapper[%d], cameraId %d", pPDLibName1,
                        cameraId, cameraId);
            if (pEntry1 == nullptr) {
                PD_LOG_ERROR(728, "cameraId %d PDLIB1 entry function Not found ", cameraId);
                return 1;
            }
            slot1.callbacks.size = sizeof(PDLibraryCallbacks);
            pEntry1(&slot1.callbacks);
        }

        if (slot1.callbacks.pfnCreate == nullptr) {
            PD_LOG_ERROR(748, "cameraId %d PDLIB1 create function is NULL pointer", cameraId);
            return 1;
        }
        const uint32_t result = slot1.callbacks.pfnCreate(&pPDLib1, pCreateParams);
        if (result != 0) {
            PD_LOG_WARN(738, "Unable to create instance of algorithm: %d", result);
        }
        if (pPDLib1 == nullptr) {
            PD_LOG_ERROR(742, "cameraId %d pPDLib1 is NULL pointer", cameraId);
            return 1;
        }

        // A handle that stands in the second table is kept, whatever library it is.
        PDLibWrapperSlot& slot2 = g_PDLibWrapper2[cameraId];
        if (slot2.libHandle == nullptr) {
            std::memset(&slot2, 0, sizeof(slot2));
            PFNPDLibraryEntry pEntry2 = ToEntry(Zyra::LoadPDLib(
                &slot2.libHandle, pLibPath2, pPDLibName2, pPDLIBEntryFunctionName2));
            PD_LOG_VERB(759, "Reload PDLib %s for g_PDLibWrapper2[%d], cameraId %d", pPDLibName2,
                        cameraId, cameraId);
            if (pEntry2 == nullptr) {
                PD_LOG_ERROR(770, "Not found PDLIB2[CamId:%d] entry function", cameraId);
                return 1;
            }
            slot2.callbacks.size = sizeof(PDLibraryCallbacks);
            pEntry2(&slot2.callbacks);
        }

        if (slot2.callbacks.pfnCreate == nullptr) {
            PD_LOG_ERROR(786, "PDLIB2[CamId:%d] create function is NULL pointer", cameraId);
            return 1;
        }
        slot2.callbacks.pfnCreate(&pPDLib2, pCreateParams);
        if (pPDLib2 == nullptr) {
            PD_LOG_ERROR(780, "cameraId %d pPDLib2 is NULL pointer", cameraId);
            return 1;
        }
    }

    // The instances would be published under g_pAFPDlibMutex, which does not exist: both stay
    // allocated and unstored, and the function answers 1 on this path as on every other.
    PD_LOG_ERROR(837, "MaxNumCameras %d cameraId %d g_pAFPDlibMutex %p", Zyra::MaxNumCameras,
                 cameraId, g_pAFPDlibMutex);
    return 1;
}

}  // extern "C"
