// The parser's one way of logging: a printf-style line to the camera stack's log in group
// 0x1000, tagged with the logger that asked for it.
#pragma once

#include "zyra_api.h"

class IParameterLoggingAPI;

class ZYRA_API ParameterLogging {
public:
    // A fixed underlying type, so that any other value is a valid one and logs as debug.
    enum ParameterLogLevel : int {
        Debug = 0,
        Warning = 1,
        Error = 2,
    };

    // The part of a path behind its last '/' or '\'; "FileNameIsNULL" for null.
    static const char* GetFileName(const char* pFileName);

    // Logs one line unless `pLogging` has switched `level` off. A null logger logs all.
    static void Write(IParameterLoggingAPI* pLogging, ParameterLogLevel level,
                      const char* pFileName, int line, const char* pFormat, ...)
        __attribute__((format(printf, 5, 6)));
};
