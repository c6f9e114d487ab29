#include "parser/foundation/parameter_logging.h"

#include <cstdarg>
#include <cstdio>

#include "parser/foundation/parameter_logging_api.h"
#include "zyra/log.h"

namespace {

constexpr uint64_t kParserLogGroup = 0x1000;
constexpr size_t kMessageSize = 4096;

struct LevelTag {
    const char* pPrefix;
    const char* pLetter;
    uint32_t index;
};

LevelTag TagOf(ParameterLogging::ParameterLogLevel level) {
    switch (level) {
        case ParameterLogging::Error: return {"[ERROR]", "E", 1};
        case ParameterLogging::Warning: return {"[WARNING]", "W", 2};
        default: return {"[DEBUG]", "D", 0};
    }
}

}  // namespace

const char* ParameterLogging::GetFileName(const char* pFileName) {
    if (pFileName == nullptr) {
        return "FileNameIsNULL";
    }
    const char* pName = pFileName;
    for (const char* p = pFileName; *p != '\0'; ++p) {
        if (*p == '/' || *p == '\\') {
            pName = p + 1;
        }
    }
    return pName;
}

void ParameterLogging::Write(IParameterLoggingAPI* pLogging, ParameterLogLevel level,
                             const char* pFileName, int line, const char* pFormat, ...) {
    // Asked first, so that a disabled level costs one virtual call and no formatting.
    if (pLogging != nullptr && !pLogging->LoggingEnabled(level)) {
        return;
    }

    char message[kMessageSize];
    message[0] = '\0';
    if (pFormat != nullptr) {
        va_list args;
        va_start(args, pFormat);
        std::vsnprintf(message, sizeof(message), pFormat, args);
        va_end(args);
    }

    LevelTag tag = TagOf(level);
    const char* pName = GetFileName(pFileName);
    if (pLogging == nullptr) {
        Zyra::Log::LogSystem(kParserLogGroup, tag.pLetter, tag.index,
                             "%s ParameterParser: %s:%d: %s", tag.pPrefix, pName, line, message);
        return;
    }
    const char* pIdentifier = pLogging->GetLoggingIdentifier();
    if (pIdentifier == nullptr) {
        Zyra::Log::LogSystem(kParserLogGroup, tag.pLetter, tag.index,
                             "%s ParameterParser: %p %s:%d: %s", tag.pPrefix,
                             static_cast<void*>(pLogging), pName, line, message);
        return;
    }
    Zyra::Log::LogSystem(kParserLogGroup, tag.pLetter, tag.index,
                         "%s ParameterParser: %p (%s): %s:%d: %s", tag.pPrefix,
                         static_cast<void*>(pLogging), pIdentifier, pName, line, message);
}
