// One numbered value of a set manager's control or trigger table: a signed integer or a
// double, with its text forms "id=value" as the live tuning service exchanges them.
#pragma once

#include <cstdint>

#include "zyra_api.h"

class ZYRA_API ParameterCTValue {
public:
    ParameterCTValue() = default;
    ParameterCTValue(int id, int value);
    ParameterCTValue(int id, unsigned int value);
    ParameterCTValue(int id, long value);
    ParameterCTValue(int id, float value);
    ParameterCTValue(int id, double value);

    // "%u=%lld" or "%u=%f" with `withId`, else only the value. A value that is not Valid
    // writes nothing. Returns Valid.
    bool ToString(char* pText, unsigned int size, bool withId) const;

    // Parses "id=value"; a value with a "." is a double. Valid is cleared first, and a
    // refused text leaves ID and value as they were.
    bool FromString(const char* pText);

    uint32_t ID = 0;
    union {
        int64_t IntegerValue = 0;
        double DoubleValue;
    };
    bool Valid = false;
    bool Integer = true;
};
