#include <cstring>

#include "parser/engine/reflection_engine.h"
#include "parser/engine/reflection_fields.h"
#include "parser/setmanager/parameter_module.h"

namespace ParameterEngine {
namespace {

using Reflection::FieldView;

// Longest list item that can be a number.
constexpr size_t kTokenSize = 129;

// Stores the items of a ',' separated list from element 0 on. A bad item keeps its element;
// surplus items are ignored and missing ones keep the tail. The list as a whole never fails.
bool SetList(const FieldView& view, const char* pValue) {
    const char* pItem = pValue;
    for (uint32_t i = 0; i < view.count && *pItem != '\0'; ++i) {
        const char* pComma = std::strchr(pItem, ',');
        size_t size = pComma != nullptr ? static_cast<size_t>(pComma - pItem) : std::strlen(pItem);
        // An item too long for a number is a bad one: cutting it would store another value.
        if (size < kTokenSize) {
            char token[kTokenSize];
            std::memcpy(token, pItem, size);
            token[size] = '\0';
            Reflection::WriteNumber(view.Element(), view.At(i), token);
        }
        if (pComma == nullptr) {
            break;
        }
        pItem = pComma + 1;
    }
    return true;
}

bool SetNumbers(const FieldView& view, unsigned int index, const char* pValue) {
    if (!view.isArray) {
        return view.count > 0 && Reflection::WriteNumber(view.Element(), view.At(0), pValue);
    }
    if (index < view.count) {
        return Reflection::WriteNumber(view.Element(), view.At(index), pValue);
    }
    return SetList(view, pValue);
}

// The top byte of ModuleID counts changes from 1 to 255 and then starts again at 1, so a
// changed module never looks unchanged; the lower 24 bits stay the symbol entry ID.
constexpr uint32_t kGenerationStep = 0x1000000;
constexpr uint32_t kLastGeneration = 0xFF000000;
constexpr uint32_t kEntryIdMask = 0xFFFFFF;

}  // namespace

bool SetValue(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              const char* pValue) {
    Reflection::PathStep step{};
    FieldView view{};
    if (pValue == nullptr || !Reflection::ViewStep(descriptor, pStructure, pPath, step, view)) {
        return false;
    }
    if (view.HoldsTexts()) {
        return false;  // texts belong to the binary and are never replaced
    }
    if (view.Element().kind != ElementKind::Struct) {
        return SetNumbers(view, step.index, pValue);
    }
    void* pElement = Reflection::StepInto(view, step.index);
    return pElement != nullptr &&
           SetValue(*view.Element().structType, pElement, step.pRest, pValue);
}

bool SetModuleValue(ParameterModule& instance, const StructDescriptor& top, void* pTop,
                    uint32_t& moduleId, const char* pPath, const char* pValue) {
    if (!SetValue(top, pTop, pPath, pValue)) {
        return false;
    }
    ++instance.Modified;
    if (moduleId >= kLastGeneration) {
        moduleId &= kEntryIdMask;
    }
    moduleId += kGenerationStep;
    return true;
}

}  // namespace ParameterEngine
