// Logging front of the camera stack's common utilities: one formatted line per call,
// gated by the callers through g_logInfo / g_logInfoUpdated, optionally echoed to a trace.
#pragma once

#include <cstdint>

#include "zyra/export.h"

namespace Zyra {

// Per level index, the mask of groups whose messages of that level are wanted.
// The stack fills the masks and then sets g_logInfoUpdated; until then every level is open.
constexpr unsigned kLogLevelSlots = 8;
extern ZYRA_COMMONUTILS_API uint64_t g_logInfo[kLogLevelSlots];
extern ZYRA_COMMONUTILS_API uint32_t g_logInfoUpdated;

// Trace settings: messages go to the trace when `enabled` is 1 and the group's bit is set.
struct TraceInfo {
    uint64_t groupMask;
    uint32_t enabled;
    uint32_t reserved;
};
extern ZYRA_COMMONUTILS_API TraceInfo g_traceInfo;

namespace Log {

// Formats `pFormat` with the arguments and hands the line to the sink (stderr by default).
ZYRA_COMMONUTILS_API void LogSystem(uint64_t group, const char* pLevel, uint32_t levelIndex,
                                    const char* pFormat, ...)
    __attribute__((format(printf, 4, 5)));

// The part of a path behind its last '/'.
ZYRA_COMMONUTILS_API const char* GetFileName(const char* pPath);

// Printable name of a log group mask.
ZYRA_COMMONUTILS_API const char* GroupToString(uint64_t group);

// Receives every formatted line instead of stderr while installed. A null sink restores
// stderr. Lines are delivered one at a time, under the logger's lock.
using LogSink = void (*)(void* pContext, uint64_t group, const char* pLevel, uint32_t levelIndex,
                         const char* pText);
ZYRA_COMMONUTILS_API void SetLogSink(LogSink sink, void* pContext);

}  // namespace Log
}  // namespace Zyra
