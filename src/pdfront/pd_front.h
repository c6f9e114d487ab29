// PD library front: the exported surface of the first half of the library.
// The plain names are exported unmangled; the functions of namespace Zyra keep
// C++ linkage.
#pragma once

#include <cstdint>

#include "pdfront/pd_lib_types.h"
#include "zyra_api.h"

namespace Zyra {
// A camera id is valid below this.
constexpr uint32_t MaxNumCameras = 10;
}  // namespace Zyra

extern "C" {

// The stats logger of the host: file, line, function, group (always 4), level (2, 4 or 32),
// format, then the format's arguments, of which the first is always g_cameraId.
typedef void (*PDStatsLoggerFn)(const char* pFile, uint32_t line, const char* pFunction,
                                uint32_t group, uint32_t level, const char* pFormat, ...)
    __attribute__((format(printf, 6, 7)));

// Filled by the host; this library only reads it and never tests it for null.
extern ZYRA_API PDStatsLoggerFn g_statsLogger;
// Camera id printed by every stats message; starts as 0xFFFFFFFF. Only read here.
extern ZYRA_API __thread uint32_t g_cameraId;

// Slot tables of the first and second algorithm library, indexed by camera id.
extern ZYRA_API PDLibWrapperSlot g_PDLibWrapper[Zyra::MaxNumCameras];
extern ZYRA_API PDLibWrapperSlot g_PDLibWrapper2[Zyra::MaxNumCameras];
// Reserved for the wrapper object: exported, never read or written here.
extern ZYRA_API void* g_pPDLibWrapper;
// Instances of the two-library dispatch: written by the host only.
extern ZYRA_API VEXPDLib* g_pPDLib1;
extern ZYRA_API VEXPDLib* g_pPDLib2[Zyra::MaxNumCameras];

// Writable names of the algorithm libraries and their entry.
extern ZYRA_API const char* pDefaultPDLibName;         // "com.ovi.stats.pdlib"
extern ZYRA_API const char* pDefaultStaticPDLibName;   // "com.ovistatic.stats.pdlib"
extern ZYRA_API const char* pPDLIBEntryFunctionName;   // "VexPDLibraryEntry"
extern ZYRA_API const char* pPDLibName2;               // "com.ovi.stats.pdlib"
extern ZYRA_API const char* pPDLIBEntryFunctionName2;  // "VexPDLibraryEntry"

// Fills the caller's table with the four operations below.
ZYRA_API void VexPDLibraryEntry(PDLibraryCallbacks* pCallBacks);
// Returns 0 and looks at nothing.
ZYRA_API uint32_t PDWrapperGetCapabilities(void* pCapabilities);
// Fan-out over both slot tables of all cameras; always returns 0.
ZYRA_API uint32_t PDWrapperQueryVendorTag(void* pQueryVendorTag);
// Fan-out over both slot tables of all cameras.
ZYRA_API void PDWrapperSetNodeInterface(void* pNodeInterface);

// One algorithm library per camera. Every failure of its own answers 0 with
// *ppPDLib untouched; otherwise the algorithm library's create result.
ZYRA_API uint32_t CreatePDLibWrapper(VEXPDLib** ppPDLib, const PDLibCreateParamList* pCreateParams);
// The two-library form: not reached from the table; returns 1 on every path.
ZYRA_API uint32_t CreatePDLibWrapperHandleMultiPDLib(VEXPDLib** ppPDLib,
                                                     const PDLibCreateParamList* pCreateParams);

}  // extern "C"

namespace Zyra {

// Maps "<pLibPath><pLibName>.so.0", else "/usr/lib//<pLibName>.so.0", stores the handle in
// *pHandle and returns the address of pEntryName in it, or null.
ZYRA_API void* LoadPDLib(void** pHandle, const char* pLibPath, const char* pLibName,
                         const char* pEntryName);

// True for 0 to 9; otherwise logs the wrong id.
ZYRA_API bool IsCameraIDValid(uint32_t cameraId);

// The dual-instance dispatch over g_pPDLib1 and g_pPDLib2[cameraId].
ZYRA_API uint32_t PDLibInitialize(VEXPDLib* pPDLib, const PDLibCreateParams* pCreateParam);
ZYRA_API uint32_t PDLibProcess(VEXPDLib* pPDLib, const PDLibInputs* pInput, PDLibOutputs* pOutput);
ZYRA_API uint32_t PDLibConfigure(VEXPDLib* pPDLib, const PDLibConfigParams* pConfig);
ZYRA_API uint32_t PDLibGetParam(VEXPDLib* pPDLib, PDLibGetParams* pGetParam);
ZYRA_API void PDLibDestroy(VEXPDLib* pPDLib, const PDLibDestroyParamList* pDestroyParams);

}  // namespace Zyra
