// Interface of the fake PD algorithm library that the PD front tests build as a loadable
// module and place under a temporary ZYRA_SYSROOT. It exports VexPDLibraryEntry like a real
// algorithm library, and FakePdAlgo_Control, through which a test sets the codes the library
// answers and reads what it was called with. Each copy of the module file is a library of
// its own, with its own control.
#pragma once

#include <cstdint>

#include "pdfront/pd_lib_types.h"

namespace fake_pd {

enum Operation : uint32_t {
    kOpInitialize = 0,
    kOpDestroy,
    kOpConfigure,
    kOpGetParam,
    kOpProcess,
    kOpCount
};

// Table operations, as reported to the observer.
enum Event : uint32_t {
    kEventEntry = 0,
    kEventGetCapabilities,
    kEventQueryVendorTag,
    kEventCreate,
    kEventSetNodeInterface,
};

// One call of an instance operation.
struct Call {
    uint32_t sequence;  // library-wide order of instance calls, from 1
    uint32_t operation;
    const void* pArg1;  // the record passed after the instance
    const void* pArg2;  // PDLibProcess: the outputs
    // PDLibGetParam only: what the record held when it came in.
    uint32_t getParamType;
    uint32_t getParamCameraId;
    uint64_t requestId;
    uint32_t inputAreaHash;  // FNV-1a over the input area (offset 0x8F30, 12488 bytes)
};

constexpr uint32_t kMaxCalls = 32;
constexpr uint32_t kGetParamTypes = 8;
constexpr uint32_t kMaxInstances = 16;

struct Instance {
    VEXPDLib ops;  // first: the instance pointer points at the five words
    uint32_t index;
    // Codes answered: per operation, and for PDLibGetParam per type below kGetParamTypes.
    uint32_t results[kOpCount];
    uint32_t getParamResults[kGetParamTypes];
    // The first scriptedCount[op] calls of an operation answer scriptedResults[op][n]
    // instead (PDLibGetParam: before its per-type code).
    uint32_t scriptedResults[kOpCount][4];
    uint32_t scriptedCount[kOpCount];
    uint32_t opCalls[kOpCount];  // calls per operation
    // PDLibGetParamHWOverride: the answer's 2024 bytes are filled with this byte.
    uint8_t hwOverrideFill;
    // PDLibGetParamSensorOverride: the answer given.
    uint32_t sensorOverrideValid;
    uint32_t sensorOverrideIsVPDDataReal;
    // PDLibConfigure: when not negative, written into the count of the list it is given.
    int64_t configureSetsCount;
    uint32_t callCount;
    Call calls[kMaxCalls];
};

using Observer = void (*)(void* pContext, uint32_t libraryTag, uint32_t event, const void* pArg);

struct Control {
    // Which operations the entry stores in the table (all by default).
    bool fillGetCapabilities;
    bool fillQueryVendorTag;
    bool fillCreate;
    bool fillSetNodeInterface;
    // What create does: answers createResult, and hands out an instance when asked to.
    uint32_t createResult;
    bool createGivesInstance;
    // Told of every table operation, with the tag, when set.
    Observer pObserver;
    void* pObserverContext;
    uint32_t tag;
    // Records.
    uint32_t entryCalls;
    uint32_t entrySizeSeen;
    void* entryReservedSeen;
    uint32_t getCapabilitiesCalls;
    uint32_t queryVendorTagCalls;
    void* lastQueryVendorTag;
    uint32_t setNodeInterfaceCalls;
    void* lastNodeInterface;
    uint32_t createCalls;
    VEXPDLib** lastCreateOut;
    const PDLibCreateParamList* lastCreateParams;
    uint32_t sequence;  // instance calls so far, all instances of this library
    uint32_t instanceCount;
    Instance instances[kMaxInstances];
};

using PFNControl = Control* (*)();
constexpr const char* kControlSymbol = "FakePdAlgo_Control";

inline uint32_t HashBytes(const void* pData, uint64_t size) {
    const auto* pBytes = static_cast<const uint8_t*>(pData);
    uint32_t hash = 2166136261u;
    for (uint64_t index = 0; index < size; ++index) {
        hash = (hash ^ pBytes[index]) * 16777619u;
    }
    return hash;
}

}  // namespace fake_pd
