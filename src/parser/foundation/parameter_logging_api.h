// What the parser's logging asks of the object it logs for.
#pragma once

#include "parser/foundation/parameter_logging.h"
#include "zyra_api.h"

class ZYRA_API IParameterLoggingAPI {
public:
    // A text naming the logger in every line it writes, or null.
    virtual const char* GetLoggingIdentifier() = 0;
    virtual bool LoggingEnabled(ParameterLogging::ParameterLogLevel level) = 0;

protected:
    // Loggers are owned and destroyed through their own types.
    ~IParameterLoggingAPI() = default;
};
