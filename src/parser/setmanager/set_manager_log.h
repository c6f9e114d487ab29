// Log macros for the set manager's member functions: the manager is its own logger, and each
// line carries the source file and line of the call.
#pragma once

#include "parser/foundation/parameter_logging.h"

#define LOG_ERROR(...) \
    ParameterLogging::Write(this, ParameterLogging::Error, __FILE__, __LINE__, __VA_ARGS__)
#define LOG_WARNING(...) \
    ParameterLogging::Write(this, ParameterLogging::Warning, __FILE__, __LINE__, __VA_ARGS__)
#define LOG_DEBUG(...) \
    ParameterLogging::Write(this, ParameterLogging::Debug, __FILE__, __LINE__, __VA_ARGS__)
