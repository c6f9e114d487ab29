#include "zyra/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace Zyra {

uint64_t g_logInfo[kLogLevelSlots] = {};
uint32_t g_logInfoUpdated = 0;
TraceInfo g_traceInfo = {};

namespace Log {
namespace {

std::mutex g_sinkLock;
LogSink g_sink = nullptr;
void* g_sinkContext = nullptr;

constexpr size_t kLineSize = 4096;

}  // namespace

void LogSystem(uint64_t group, const char* pLevel, uint32_t levelIndex, const char* pFormat, ...) {
    char line[kLineSize];
    line[0] = '\0';
    if (pFormat != nullptr) {
        va_list args;
        va_start(args, pFormat);
        std::vsnprintf(line, sizeof(line), pFormat, args);
        va_end(args);
    }

    std::lock_guard<std::mutex> guard(g_sinkLock);
    if (g_sink != nullptr) {
        g_sink(g_sinkContext, group, pLevel, levelIndex, line);
        return;
    }
    size_t used = std::strlen(line);
    bool terminated = used > 0 && line[used - 1] == '\n';
    std::fprintf(stderr, terminated ? "%s" : "%s\n", line);
}

const char* GetFileName(const char* pPath) {
    if (pPath == nullptr) {
        return "";
    }
    const char* pSlash = std::strrchr(pPath, '/');
    return pSlash != nullptr ? pSlash + 1 : pPath;
}

const char* GroupToString(uint64_t group) {
    switch (group) {
        case 0x1000: return "PARSER";
        case 0x8000000: return "STATS_PD";
        default: return "UNKNOWN";
    }
}

void SetLogSink(LogSink sink, void* pContext) {
    std::lock_guard<std::mutex> guard(g_sinkLock);
    g_sink = sink;
    g_sinkContext = pContext;
}

}  // namespace Log
}  // namespace Zyra
