#include "parser/engine/reflection_fields.h"

#include <cfloat>
#include <cstring>
#include <limits>

#include "parser/engine/field_memory.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace ParameterEngine {
namespace Reflection {
namespace {

template <typename T>
T Get(const unsigned char* pElement) {
    T value;
    std::memcpy(&value, pElement, sizeof(T));
    return value;
}

template <typename T>
void Put(unsigned char* pElement, T value) {
    std::memcpy(pElement, &value, sizeof(T));
}

// Cut towards zero, clamped to what T holds: out-of-range conversions would be undefined.
template <typename T>
T Saturate(double value) {
    constexpr double kLowest = static_cast<double>(std::numeric_limits<T>::lowest());
    constexpr double kHighest = static_cast<double>(std::numeric_limits<T>::max());
    if (value <= kLowest) {
        return std::numeric_limits<T>::lowest();
    }
    if (value >= kHighest) {
        return std::numeric_limits<T>::max();
    }
    return static_cast<T>(value);
}

float ToFloat(double value) {
    if (value > FLT_MAX) {
        return FLT_MAX;
    }
    if (value < -FLT_MAX) {
        return -FLT_MAX;
    }
    return static_cast<float>(value);
}

uint32_t ReadWord(const unsigned char* pBase, uint32_t offset) {
    return Get<uint32_t>(pBase + offset);
}

const FieldDescriptor* FindField(const StructDescriptor& descriptor, const char* pName) {
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        const FieldDescriptor& field = descriptor.fields[i];
        if (field.kind != FieldKind::Memory && std::strcmp(field.name, pName) == 0) {
            return &field;
        }
    }
    return nullptr;
}

}  // namespace

PathStep SplitPath(const char* pPath) {
    PathStep step{};
    step.index = kNoIndex;
    const char* pText = pPath != nullptr ? pPath : "";
    step.pRest = pText + ParameterUtils::GetVariable(pText, step.name, step.index,
                                                     sizeof(step.name));
    return step;
}

unsigned char* FieldView::At(uint32_t index) const {
    return pFirst + uint64_t{index} * ElementSize(field->element);
}

const char* FieldView::Text(uint32_t index) const {
    const char* pText = static_cast<const char*>(GetPointer(At(index), 0));
    return pText != nullptr ? pText : "";
}

bool ViewStep(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              PathStep& step, FieldView& view) {
    step = SplitPath(pPath);
    const FieldDescriptor* pField = FindField(descriptor, step.name);
    if (pStructure == nullptr || pField == nullptr) {
        return false;
    }
    view = ViewOf(*pField, pStructure);
    return true;
}

void* StepInto(const FieldView& view, unsigned int index) {
    const uint32_t element = view.isArray ? index : 0;
    return element < view.count ? view.At(element) : nullptr;
}

FieldView ViewOf(const FieldDescriptor& field, void* pStructure) {
    auto* pBase = static_cast<unsigned char*>(pStructure);
    FieldView view{&field, pBase + field.offset, 1, false, false, 0};
    switch (field.kind) {
        case FieldKind::Inline:
        case FieldKind::ScalarBlock:
            view.isArray = field.dimCount > 0;
            view.count = field.count;
            break;
        case FieldKind::Counted:
            view.isArray = true;
            view.pFirst = static_cast<unsigned char*>(GetPointer(pBase, field.offset));
            // Unloading keeps the count word; only the pointer tells what is there.
            view.count = view.pFirst != nullptr ? ReadWord(pBase, field.countOffset) : 0;
            break;
        case FieldKind::Optional:
            view.isOptional = true;
            view.exists = ReadWord(pBase, field.countOffset);
            view.count = view.exists != 0 ? 1 : 0;
            break;
        case FieldKind::String:
        case FieldKind::Memory:
            break;
    }
    return view;
}

const char* TypeWord(const ElementType& element) {
    switch (element.kind) {
        case ElementKind::Struct: return ParameterParserInfo::kStructure;
        case ElementKind::Enum: return ParameterParserInfo::kEnum;
        case ElementKind::String: return ParameterParserInfo::kString;
        case ElementKind::Scalar: break;
    }
    switch (element.scalar) {
        case ScalarType::UInt8: return ParameterParserInfo::kUInt8;
        case ScalarType::UInt16: return ParameterParserInfo::kUInt16;
        case ScalarType::UInt32: return ParameterParserInfo::kUInt32;
        case ScalarType::Int32: return ParameterParserInfo::kInt32;
        case ScalarType::UInt64: return ParameterParserInfo::kUInt64;
        case ScalarType::Int64: return ParameterParserInfo::kInt64;
        case ScalarType::Float: return ParameterParserInfo::kFloat;
        case ScalarType::Double: return ParameterParserInfo::kDouble;
        case ScalarType::Boolean: return ParameterParserInfo::kBoolean;
    }
    return ParameterParserInfo::kUInt32;
}

unsigned int Precision(const ElementType& element) {
    // A field held as a float still reads as the integer it means.
    bool floating = element.kind == ElementKind::Scalar &&
                    (element.scalar == ScalarType::Float || element.scalar == ScalarType::Double);
    return floating ? 10 : 0;
}

double ReadNumber(const ElementType& element, const unsigned char* pElement) {
    if (element.kind == ElementKind::Enum) {
        return Get<uint32_t>(pElement);
    }
    if (element.heldAsFloat) {
        return Get<float>(pElement);
    }
    switch (element.scalar) {
        case ScalarType::UInt8: return Get<uint8_t>(pElement);
        case ScalarType::UInt16: return Get<uint16_t>(pElement);
        case ScalarType::Int32: return Get<int32_t>(pElement);
        case ScalarType::UInt64: return static_cast<double>(Get<uint64_t>(pElement));
        case ScalarType::Int64: return static_cast<double>(Get<int64_t>(pElement));
        case ScalarType::Float: return Get<float>(pElement);
        case ScalarType::Double: return Get<double>(pElement);
        case ScalarType::UInt32:
        case ScalarType::Boolean: break;
    }
    return Get<uint32_t>(pElement);
}

bool WriteNumber(const ElementType& element, unsigned char* pElement, const char* pText) {
    bool isNumber = false;
    double value = ParameterUtils::StringToDouble(pText, isNumber);
    if (!isNumber) {
        return false;
    }
    // Enums and Booleans take any number: their sets of values are not consulted here.
    if (element.kind == ElementKind::Enum) {
        Put(pElement, Saturate<uint32_t>(value));
        return true;
    }
    if (element.heldAsFloat) {
        Put(pElement, ToFloat(value));
        return true;
    }
    switch (element.scalar) {
        case ScalarType::UInt8: Put(pElement, Saturate<uint8_t>(value)); break;
        case ScalarType::UInt16: Put(pElement, Saturate<uint16_t>(value)); break;
        case ScalarType::Int32: Put(pElement, Saturate<int32_t>(value)); break;
        case ScalarType::UInt64: Put(pElement, Saturate<uint64_t>(value)); break;
        case ScalarType::Int64: Put(pElement, Saturate<int64_t>(value)); break;
        case ScalarType::Float: Put(pElement, ToFloat(value)); break;
        case ScalarType::Double: Put(pElement, value); break;
        case ScalarType::UInt32:
        case ScalarType::Boolean: Put(pElement, Saturate<uint32_t>(value)); break;
    }
    return true;
}

void FormatNumber(const ElementType& element, const unsigned char* pElement, char* pOut,
                  unsigned int size) {
    bool converted = false;
    ParameterUtils::DoubleToString(ReadNumber(element, pElement), pOut, size,
                                   Precision(element), converted);
}

}  // namespace Reflection
}  // namespace ParameterEngine
