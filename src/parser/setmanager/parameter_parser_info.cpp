#include "parser/setmanager/parameter_parser_info.h"

#include "parser/foundation/parameter_utils.h"
#include "zyra/os_utils.h"

ParameterParserInfo::ParameterParserInfo(const char* pName, const char* pType)
    : Name(pName), TypeName(pType) {}

ParameterParserInfo::ParameterParserInfo(const char* pName, const char* pType, double value,
                                         unsigned int precision)
    : Name(pName), TypeName(pType) {
    bool converted = false;
    ParameterUtils::DoubleToString(value, Value, sizeof(Value), precision, converted);
}

ParameterParserInfo::ParameterParserInfo(const char* pName, const char* pType,
                                         const char* pValue)
    : Name(pName), TypeName(pType) {
    if (pValue != nullptr) {
        Zyra::OsUtils::StrLCpy(Value, pValue, sizeof(Value));
    }
}

ParameterParserInfo::ParameterParserInfo(const char* pName, const char* pType, bool isArray,
                                         bool isOptional, unsigned int count)
    : Name(pName), TypeName(pType), IsArray(isArray), IsOptional(isOptional), Count(count) {}
