#include "parser/setmanager/parameter_ct_value.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "parser/foundation/parameter_utils.h"

namespace {

// Longest ID text that is read; the rest before the "=" is ignored.
constexpr unsigned int kIdTextLength = 9;

// Truncation toward zero that saturates instead of overflowing, as the conversion of the
// target processor does; NaN gives 0.
int64_t TruncateToInt64(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= 9223372036854775808.0) {
        return INT64_MAX;
    }
    if (value < -9223372036854775808.0) {
        return INT64_MIN;
    }
    return static_cast<int64_t>(value);
}

}  // namespace

ParameterCTValue::ParameterCTValue(int id, int value)
    : ID(static_cast<uint32_t>(id)), IntegerValue(value), Valid(true), Integer(true) {}

ParameterCTValue::ParameterCTValue(int id, unsigned int value)
    : ID(static_cast<uint32_t>(id)), IntegerValue(value), Valid(true), Integer(true) {}

ParameterCTValue::ParameterCTValue(int id, long value)
    : ID(static_cast<uint32_t>(id)), IntegerValue(value), Valid(true), Integer(true) {}

ParameterCTValue::ParameterCTValue(int id, float value)
    : ID(static_cast<uint32_t>(id)), DoubleValue(value), Valid(true), Integer(false) {}

ParameterCTValue::ParameterCTValue(int id, double value)
    : ID(static_cast<uint32_t>(id)), DoubleValue(value), Valid(true), Integer(false) {}

bool ParameterCTValue::ToString(char* pText, unsigned int size, bool withId) const {
    if (!Valid || pText == nullptr || size == 0) {
        return Valid;
    }
    if (Integer) {
        const long long value = IntegerValue;
        if (withId) {
            std::snprintf(pText, size, "%u=%lld", ID, value);
        } else {
            std::snprintf(pText, size, "%lld", value);
        }
    } else if (withId) {
        std::snprintf(pText, size, "%u=%f", ID, DoubleValue);
    } else {
        std::snprintf(pText, size, "%f", DoubleValue);
    }
    return true;
}

bool ParameterCTValue::FromString(const char* pText) {
    Valid = false;
    const unsigned int equals = ParameterUtils::GetStringPos(pText, '=');
    if (pText == nullptr || equals == 0 || equals == UINT32_MAX || pText[equals + 1] == '\0') {
        return false;
    }
    char idText[kIdTextLength + 1];
    ParameterUtils::GetSubString(pText, '=', idText, sizeof(idText));
    // Digits that are not a number read as 0; that is not a refusal.
    bool isNumber = false;
    ID = static_cast<uint32_t>(TruncateToInt64(ParameterUtils::StringToDouble(idText, isNumber)));

    const char* pValue = pText + equals + 1;
    const double value = ParameterUtils::StringToDouble(pValue, isNumber);
    Integer = std::strchr(pValue, '.') == nullptr;
    if (Integer) {
        IntegerValue = TruncateToInt64(value);
    } else {
        DoubleValue = value;
    }
    Valid = true;
    return true;
}
