// The reflection record of one field, as a module's GetInfo reports it and the live tuning
// service passes it on: name, type word, value text, and array or optional shape.
#pragma once

#include <cstdint>

#include "zyra_api.h"

struct ZYRA_API ParameterParserInfo {
    static constexpr unsigned int kValueSize = 1024;

    // The type words. A field reports how it is meant, which is not always how it is held.
    static constexpr const char* kStructure = "Structure";
    static constexpr const char* kFloat = "Float";
    static constexpr const char* kDouble = "Double";
    static constexpr const char* kInt32 = "Int32";
    static constexpr const char* kUInt32 = "UInt32";
    static constexpr const char* kInt64 = "Int64";
    static constexpr const char* kUInt64 = "UInt64";
    static constexpr const char* kUInt16 = "UInt16";
    static constexpr const char* kUInt8 = "UInt8";
    static constexpr const char* kBoolean = "Boolean";
    static constexpr const char* kEnum = "Enum";
    static constexpr const char* kString = "String";
    // A module in the set manager's list rather than a field.
    static constexpr const char* kModule = "Module";

    ParameterParserInfo() = default;
    // A nested structure.
    ParameterParserInfo(const char* pName, const char* pType);
    // A number, written with at most `precision` decimals.
    ParameterParserInfo(const char* pName, const char* pType, double value, unsigned int precision);
    // A text, cut to what Value holds.
    ParameterParserInfo(const char* pName, const char* pType, const char* pValue);
    // An array or optional element, without value.
    ParameterParserInfo(const char* pName, const char* pType, bool isArray, bool isOptional,
                        unsigned int count);

    // Null when the record answers a path that already named the field. Not owned.
    const char* Name = nullptr;
    const char* TypeName = nullptr;
    char Value[kValueSize] = {};
    bool IsArray = false;
    bool IsOptional = false;
    // Element count, or the exists word of an optional element.
    uint32_t Count = 0;
};
