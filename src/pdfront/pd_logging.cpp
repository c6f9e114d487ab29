#include "pdfront/pd_logging.h"

#include <cstdarg>
#include <cstdio>

#include "zyra/log.h"

namespace {

// Until the host installs its own logger, stats messages go to the common log in the PD
// front's group, so that a failure path taken early neither crashes nor vanishes.
void DefaultStatsLogger(const char* pFile, uint32_t line, const char* pFunction, uint32_t group,
                        uint32_t level, const char* pFormat, ...) {
    char message[512];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(message, sizeof(message), pFormat, args);
    va_end(args);
    const char* pLetter = level <= 2 ? "E" : level <= 4 ? "W" : "V";
    Zyra::Log::LogSystem(::Zyra::PDFront::kDirectLogGroup, pLetter, level,
                         "[STATS %u] %s:%u %s() %s", group, Zyra::Log::GetFileName(pFile), line,
                         pFunction, message);
}

}  // namespace

extern "C" {

PDStatsLoggerFn g_statsLogger = &DefaultStatsLogger;
__thread uint32_t g_cameraId = 0xFFFFFFFFu;

}  // extern "C"
