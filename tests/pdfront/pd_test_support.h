// Helpers of the PD front tests.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "log_capture.h"
#include "pdfront/pd_front.h"
#include "zyra/log.h"

namespace pd_test {

using Texts = std::vector<std::string>;

inline Texts g_stats;                  // "<level> <line> <text>" of each stats message
inline const PDStatsLoggerFn g_hostLogger = g_statsLogger;

inline void RecordStats(const char*, uint32_t line, const char*, uint32_t, uint32_t level,
                        const char* pFormat, ...) {
    char text[1024];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(text, sizeof(text), pFormat, args);
    va_end(args);
    g_stats.push_back(std::to_string(level) + " " + std::to_string(line) + " " + text);
}

// Fresh library state around every case: slot tables, instance pointers, the second name, all
// log levels open, trace off, g_cameraId 7. Records the stats logger and Zyra::Log.
class PdFrontTest : public ::testing::Test {
protected:
    void SetUp() override { Reset(RecordStats); }
    void TearDown() override { Reset(g_hostLogger); }

    static Texts TakeStats() { return std::exchange(g_stats, {}); }
    static void EnableTrace() { Zyra::g_traceInfo = {0x8000000, 1, 0}; }

    zyra_test::LogCapture m_log;

private:
    static void Reset(PDStatsLoggerFn pLogger) {
        std::memset(g_PDLibWrapper, 0, sizeof(g_PDLibWrapper));
        std::memset(g_PDLibWrapper2, 0, sizeof(g_PDLibWrapper2));
        g_pPDLib1 = nullptr;
        std::memset(g_pPDLib2, 0, sizeof(g_pPDLib2));
        pPDLibName2 = "com.ovi.stats.pdlib";
        std::memset(Zyra::g_logInfo, 0, sizeof(Zyra::g_logInfo));
        Zyra::g_logInfoUpdated = 0;
        Zyra::g_traceInfo = Zyra::TraceInfo{};
        g_cameraId = 7;
        g_statsLogger = pLogger;
        g_stats.clear();
    }
};

// "<prefix><pid> <tid> STATS_PD <file>:<line> <function>() <message>"
inline std::string Direct(const char* pPrefix, const char* pFile, uint32_t line,
                          const char* pFunction, const std::string& message) {
    char head[512];
    std::snprintf(head, sizeof(head), "%s%d %d STATS_PD %s:%u %s() ", pPrefix,
                  static_cast<int>(getpid()), static_cast<int>(syscall(SYS_gettid)), pFile, line,
                  pFunction);
    return head + message;
}

}  // namespace pd_test
