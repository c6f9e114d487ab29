// The two log forms of the PD front.
//
// Stats form: PD_STATS_LOG(level, line, format, args...) calls g_statsLogger with this
// file, the literal line, the function, group 4, the level, the format and g_cameraId in
// front of the arguments. Every format begins "CID:[%d]".
//
// Direct form: PD_LOG_ERROR / PD_LOG_WARN / PD_LOG_INFO / PD_LOG_VERB(line, message,
// args...) call Zyra::Log::LogSystem with group mask 0x8000000 and the format
// "<prefix>%d %d %s %s:<line> %s() <message>", whose leading arguments are the process id,
// thread id, group name, file name and function. WARN, INFO and VERB are gated on
// g_logInfo[level index] bit 27 or g_logInfoUpdated == 0, and nothing of a closed level
// is computed. ERROR is always logged, then echoed to the trace as "[ERROR]<message>" when
// the trace is on for the group. `line` and `message` must be literals. On the trace path
// the message's arguments are evaluated a second time, so they must have no side effects.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pdfront/pd_front.h"
#include "zyra/log.h"
#include "zyra/os_utils.h"

namespace Zyra {
namespace PDFront {

constexpr uint32_t kStatsGroup = 4;
constexpr uint32_t kStatsLevelError = 2;    // failures
constexpr uint32_t kStatsLevelWarning = 4;  // invalid fan-out pointer, failed sensor override
constexpr uint32_t kStatsLevelInfo = 32;    // progress and results of algorithm calls

constexpr uint64_t kDirectLogGroup = 0x8000000;  // bit 27
constexpr uint32_t kLevelIndexError = 1;
constexpr uint32_t kLevelIndexWarning = 2;
constexpr uint32_t kLevelIndexInfo = 4;
constexpr uint32_t kLevelIndexVerbose = 5;
constexpr size_t kTraceBufferSize = 512;

// Until the stack has filled the masks (g_logInfoUpdated is zero) every level is open.
inline bool DirectLogLevelOpen(uint32_t levelIndex) {
    return (g_logInfo[levelIndex] & kDirectLogGroup) != 0 || g_logInfoUpdated == 0;
}

inline bool TraceEchoOpen() {
    return g_traceInfo.enabled == 1 && (g_traceInfo.groupMask & kDirectLogGroup) != 0;
}

}  // namespace PDFront
}  // namespace Zyra

#define PD_STATS_LOG(LEVEL, LINE, FORMAT, ...)                                           \
    g_statsLogger(__FILE__, LINE, __func__, ::Zyra::PDFront::kStatsGroup, LEVEL, FORMAT, \
                  g_cameraId __VA_OPT__(, ) __VA_ARGS__)

// The unconditional call of the direct form; the prefix fields are computed here only.
#define PD_DIRECT_LOG_CALL_(LEVEL_INDEX, LETTER, PREFIX, LINE, MESSAGE, ...)                \
    ::Zyra::Log::LogSystem(::Zyra::PDFront::kDirectLogGroup, LETTER, LEVEL_INDEX,           \
                           PREFIX "%d %d %s %s:" #LINE " %s() " MESSAGE,                    \
                           ::Zyra::OsUtils::GetProcessID(), ::Zyra::OsUtils::GetThreadID(), \
                           ::Zyra::Log::GroupToString(::Zyra::PDFront::kDirectLogGroup),    \
                           ::Zyra::Log::GetFileName(__FILE__),                              \
                           __func__ __VA_OPT__(, ) __VA_ARGS__)

#define PD_DIRECT_LOG_GATED_(LEVEL_INDEX, LETTER, PREFIX, LINE, MESSAGE, ...) \
    do {                                                                      \
        if (::Zyra::PDFront::DirectLogLevelOpen(LEVEL_INDEX)) {               \
            PD_DIRECT_LOG_CALL_(LEVEL_INDEX, LETTER, PREFIX, LINE,            \
                                MESSAGE __VA_OPT__(, ) __VA_ARGS__);          \
        }                                                                     \
    } while (0)

#define PD_LOG_ERROR(LINE, MESSAGE, ...)                                             \
    do {                                                                             \
        PD_DIRECT_LOG_CALL_(::Zyra::PDFront::kLevelIndexError, "E", "[ERROR]", LINE, \
                            MESSAGE __VA_OPT__(, ) __VA_ARGS__);                     \
        if (::Zyra::PDFront::TraceEchoOpen()) {                                      \
            char traceText_[::Zyra::PDFront::kTraceBufferSize];                      \
            ::Zyra::OsUtils::SNPrintF(traceText_, sizeof(traceText_),                \
                                      "[ERROR]" MESSAGE __VA_OPT__(, ) __VA_ARGS__); \
            ::Zyra::OsUtils::TraceBegin(traceText_);                                 \
            ::Zyra::OsUtils::TraceEnd();                                             \
        }                                                                            \
    } while (0)

#define PD_LOG_WARN(LINE, MESSAGE, ...)                                             \
    PD_DIRECT_LOG_GATED_(::Zyra::PDFront::kLevelIndexWarning, "W", "[ WARN]", LINE, \
                         MESSAGE __VA_OPT__(, ) __VA_ARGS__)

#define PD_LOG_INFO(LINE, MESSAGE, ...)                                          \
    PD_DIRECT_LOG_GATED_(::Zyra::PDFront::kLevelIndexInfo, "I", "[ INFO]", LINE, \
                         MESSAGE __VA_OPT__(, ) __VA_ARGS__)

#define PD_LOG_VERB(LINE, MESSAGE, ...)                                             \
    PD_DIRECT_LOG_GATED_(::Zyra::PDFront::kLevelIndexVerbose, "V", "[ VERB]", LINE, \
                         MESSAGE __VA_OPT__(, ) __VA_ARGS__)
