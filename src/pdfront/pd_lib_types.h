// Records of the PD library interface.
//
// These are exchanged with the camera stack and with the closed PD algorithm libraries, so
// their layouts are fixed: every fixed offset and size is checked below. Only the
// fields the front touches have names; all other bytes are opaque and pass through untouched.
// Records whose total size the interface leaves open are declared up to their last known
// field: the algorithm library's record may be longer, and code here never copies them.
//
// This header is plain C++ with no dependency on the rest of the library, so that a test
// algorithm library can be built against it.
#pragma once

#include <cstddef>
#include <cstdint>

struct VEXPDLib;
struct PDLibCreateParamList;
struct PDLibCreateParams;
struct PDLibDestroyParamList;
struct PDLibConfigParams;
struct PDLibGetParams;
struct PDLibInputs;
// Layout belongs to the algorithm library; the front only passes the pointer on.
struct PDLibOutputs;

// ---------------------------------------------------------------------------------------
// Interface table

using PFNPDLibGetCapabilities = uint32_t (*)(void* pCapabilities);
using PFNPDLibQueryVendorTag = uint32_t (*)(void* pQueryVendorTag);
using PFNPDLibCreate = uint32_t (*)(VEXPDLib** ppPDLib, const PDLibCreateParamList* pCreateParams);
using PFNPDLibSetNodeInterface = void (*)(void* pNodeInterface);

struct PDLibraryCallbacks {
    uint32_t size;       // size of the caller's table in bytes; read, never written, by the entry
    uint32_t reserved0;  // not touched
    void* pReserved;     // not touched by the entry: keeps what the caller left there
    PFNPDLibGetCapabilities pfnGetCapabilities;
    PFNPDLibQueryVendorTag pfnQueryVendorTag;
    PFNPDLibCreate pfnCreate;
    PFNPDLibSetNodeInterface pfnSetNodeInterface;
};
static_assert(offsetof(PDLibraryCallbacks, size) == 0);
static_assert(offsetof(PDLibraryCallbacks, reserved0) == 4);
static_assert(offsetof(PDLibraryCallbacks, pReserved) == 8);
static_assert(offsetof(PDLibraryCallbacks, pfnGetCapabilities) == 16);
static_assert(offsetof(PDLibraryCallbacks, pfnQueryVendorTag) == 24);
static_assert(offsetof(PDLibraryCallbacks, pfnCreate) == 32);
static_assert(offsetof(PDLibraryCallbacks, pfnSetNodeInterface) == 40);
static_assert(sizeof(PDLibraryCallbacks) == 48);

// The entry symbol of this library and of every algorithm library.
using PFNPDLibraryEntry = void (*)(PDLibraryCallbacks* pCallBacks);

// What the front keeps per camera and per algorithm library.
struct PDLibWrapperSlot {
    PDLibraryCallbacks callbacks;
    void* libHandle;  // what Zyra::OsUtils::LibMap returned; never unmapped
};
static_assert(offsetof(PDLibWrapperSlot, callbacks) == 0);
static_assert(offsetof(PDLibWrapperSlot, libHandle) == sizeof(PDLibraryCallbacks));

// ---------------------------------------------------------------------------------------
// Create parameters

enum : uint32_t {
    PDLibCreateParamTypeLibName = 1,     // pParam: text, size: at least 4 to count
    PDLibCreateParamTypeCameraInfo = 2,  // pParam: PDLibCameraInfo
};

struct PDLibParamEntry {
    uint32_t type;
    void* pParam;
    uint32_t size;
};
static_assert(offsetof(PDLibParamEntry, type) == 0);
static_assert(offsetof(PDLibParamEntry, pParam) == 8);
static_assert(offsetof(PDLibParamEntry, size) == 16);
static_assert(sizeof(PDLibParamEntry) == 24);

struct PDLibCreateParamList {
    PDLibParamEntry* pParams;
    uint32_t count;
};
static_assert(offsetof(PDLibCreateParamList, pParams) == 0);
static_assert(offsetof(PDLibCreateParamList, count) == 8);

// The block behind a camera-information entry: only the camera id is known.
struct PDLibCameraInfo {
    uint8_t opaque0[4];
    uint32_t cameraId;
};
static_assert(offsetof(PDLibCameraInfo, cameraId) == 4);

// The list handed to PDLibDestroy has the same entries; there type 1 carries the camera
// information block.
struct PDLibDestroyParamList {
    PDLibParamEntry* pParams;
    uint32_t count;
};
static_assert(offsetof(PDLibDestroyParamList, pParams) == 0);
static_assert(offsetof(PDLibDestroyParamList, count) == 8);

enum : uint32_t { PDLibDestroyParamTypeCameraInfo = 1 };

// ---------------------------------------------------------------------------------------
// Algorithm instance: the instance pointer points straight at these five words,
// and each is called with the instance as its first argument.

using PFNPDLibInitialize = uint32_t (*)(VEXPDLib* pPDLib, const PDLibCreateParams* pCreateParams);
using PFNPDLibDestroy = uint32_t (*)(VEXPDLib* pPDLib, const PDLibDestroyParamList* pDestroyParams);
using PFNPDLibConfigure = uint32_t (*)(VEXPDLib* pPDLib, const PDLibConfigParams* pConfig);
using PFNPDLibGetParam = uint32_t (*)(VEXPDLib* pPDLib, PDLibGetParams* pGetParam);
using PFNPDLibProcess = uint32_t (*)(VEXPDLib* pPDLib, const PDLibInputs* pInput,
                                     PDLibOutputs* pOutput);

struct VEXPDLib {
    PFNPDLibInitialize PDLibInitialize;
    PFNPDLibDestroy PDLibDestroy;
    PFNPDLibConfigure PDLibConfigure;
    PFNPDLibGetParam PDLibGetParam;
    PFNPDLibProcess PDLibProcess;
    // The algorithm library's own state may follow.
};
static_assert(offsetof(VEXPDLib, PDLibInitialize) == 0);
static_assert(offsetof(VEXPDLib, PDLibDestroy) == 8);
static_assert(offsetof(VEXPDLib, PDLibConfigure) == 16);
static_assert(offsetof(VEXPDLib, PDLibGetParam) == 24);
static_assert(offsetof(VEXPDLib, PDLibProcess) == 32);
static_assert(sizeof(VEXPDLib) == 40);

// ---------------------------------------------------------------------------------------
// Records the dual dispatch touches. Declared up to the last field it uses.

struct PDLibCreateParams {
    uint8_t opaque0[0x2854];
    uint32_t cameraId;
};
static_assert(offsetof(PDLibCreateParams, cameraId) == 0x2854);

struct PDLibHWBlock {
    uint8_t opaque0[0x50F4];
    uint32_t hwOverrideActive;
    uint8_t opaque1[0x58D0 - 0x50F8];
    uint32_t secondLibActive;  // the routing word of PDLibProcess
};
static_assert(offsetof(PDLibHWBlock, hwOverrideActive) == 0x50F4);
static_assert(offsetof(PDLibHWBlock, secondLibActive) == 0x58D0);

struct PDLibInputs {
    uint8_t opaque0[0x100];
    uint32_t cameraId;
    uint8_t opaque1[0x4F8 - 0x104];
    const PDLibHWBlock* pHWBlock;  // must be readable: not tested
};
static_assert(offsetof(PDLibInputs, cameraId) == 0x100);
static_assert(offsetof(PDLibInputs, pHWBlock) == 0x4F8);

enum : uint32_t { PDLibConfigParamTypeCreate = 0 };  // pParam: PDLibCreateParams

struct PDLibConfigParamEntry {
    void* pParam;
    uint8_t opaque0[4];
    uint32_t type;
};
static_assert(offsetof(PDLibConfigParamEntry, pParam) == 0);
static_assert(offsetof(PDLibConfigParamEntry, type) == 12);
static_assert(sizeof(PDLibConfigParamEntry) == 16);

struct PDLibConfigParams {
    PDLibConfigParamEntry* pParams;
    uint32_t count;
};
static_assert(offsetof(PDLibConfigParams, pParams) == 0);
static_assert(offsetof(PDLibConfigParams, count) == 8);

enum PDLibGetParamType : uint32_t {
    PDLibGetParamHWConfig = 0,
    PDLibGetParamHWInfo = 2,
    PDLibGetParamBufferInfo = 3,
    PDLibGetParamHWOverride = 5,
    PDLibGetParamSensorOverride = 6,
};

constexpr size_t kPDLibHWOverrideSize = 0x7E8;  // 2024 bytes

// Answer of PDLibGetParamSensorOverride.
struct PDLibSensorOverrideAnswer {
    uint32_t valid;  // 1 when the answer is valid
    uint32_t isVPDDataReal;
};

// The input area of PDLibGetParams: 12488 bytes from offset 0x8F30 to the end.
struct PDLibGetParamsInput {
    uint64_t requestId;
    uint8_t opaque0[0xB7EC - 0x8F38];
    uint8_t hwOverride[kPDLibHWOverrideSize];  // where the hardware override answer is put
    uint8_t opaque1[0xBFF0 - 0xBFD4];
    uint32_t sensorOverrideWanted;  // tested against 1
    uint8_t opaque2[4];
};
static_assert(sizeof(PDLibGetParamsInput) == 0x30C8);

struct PDLibGetParams {
    uint32_t type;  // PDLibGetParamType or any other value
    uint8_t opaque0[4];
    union {
        uint8_t hwOverride[kPDLibHWOverrideSize];
        PDLibSensorOverrideAnswer sensorOverride;
    } answer;
    uint8_t opaque1[0x50FC - 0x7F0];
    uint32_t overrideEnable;  // the two override words below count only when it is 1
    uint32_t filterCoefficientsOverride;
    uint8_t opaque2[0x513C - 0x5104];
    uint32_t h1IIROverride[2];
    uint8_t opaque3[0x58B4 - 0x5144];
    uint32_t sadRangeOverride;
    uint8_t opaque4[4];
    int16_t h1Range[2];  // printed [1] then [0]
    int16_t h2Range[2];  // printed [1] then [0]
    uint8_t opaque5[0x58E4 - 0x58C4];
    uint32_t isVPDDataReal;  // written by the dispatch
    uint8_t opaque6[0x8F28 - 0x58E8];
    uint32_t cameraId;
    uint8_t opaque7[4];
    PDLibGetParamsInput input;
};
static_assert(offsetof(PDLibGetParams, type) == 0);
static_assert(offsetof(PDLibGetParams, answer) == 8);
static_assert(sizeof(PDLibGetParams::answer) == 0x7E8);
static_assert(offsetof(PDLibGetParams, answer.sensorOverride.valid) == 8);
static_assert(offsetof(PDLibGetParams, answer.sensorOverride.isVPDDataReal) == 12);
static_assert(offsetof(PDLibGetParams, overrideEnable) == 0x50FC);
static_assert(offsetof(PDLibGetParams, filterCoefficientsOverride) == 0x5100);
static_assert(offsetof(PDLibGetParams, h1IIROverride) == 0x513C);
static_assert(offsetof(PDLibGetParams, h1IIROverride[1]) == 0x5140);
static_assert(offsetof(PDLibGetParams, sadRangeOverride) == 0x58B4);
static_assert(offsetof(PDLibGetParams, h1Range) == 0x58BC);
static_assert(offsetof(PDLibGetParams, h1Range[1]) == 0x58BE);
static_assert(offsetof(PDLibGetParams, h2Range) == 0x58C0);
static_assert(offsetof(PDLibGetParams, h2Range[1]) == 0x58C2);
static_assert(offsetof(PDLibGetParams, isVPDDataReal) == 0x58E4);
static_assert(offsetof(PDLibGetParams, cameraId) == 0x8F28);
static_assert(offsetof(PDLibGetParams, input) == 0x8F30);
static_assert(offsetof(PDLibGetParams, input.requestId) == 0x8F30);
static_assert(offsetof(PDLibGetParams, input.hwOverride) == 0xB7EC);
static_assert(offsetof(PDLibGetParams, input.sensorOverrideWanted) == 0xBFF0);
static_assert(sizeof(PDLibGetParams) == 0xBFF8);
