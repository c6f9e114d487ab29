#include <cstring>

#include "parser/engine/reflection_engine.h"
#include "parser/engine/reflection_fields.h"
#include "zyra/os_utils.h"

namespace ParameterEngine {
namespace {

using Reflection::FieldView;

// Every element joined by ',', each written at the end of the text with the room left.
void WriteAll(const FieldView& view, char* pOut, unsigned int length) {
    Reflection::FormatNumber(view.Element(), view.At(0), pOut, length);
    for (uint32_t i = 1; i < view.count && length > 0; ++i) {
        size_t used = std::strlen(pOut);
        if (used + 1 >= length) {
            return;  // full: the rest would add nothing
        }
        Zyra::OsUtils::StrLCat(pOut, ",", length);
        ++used;
        Reflection::FormatNumber(view.Element(), view.At(i), pOut + used,
                                 static_cast<unsigned int>(length - used));
    }
}

// The text at `index`, or every text joined by ',' when the index names none.
bool GetTexts(const FieldView& view, unsigned int index, char* pOut, unsigned int length) {
    if (length == 0) {
        return true;
    }
    if (index < view.count) {
        Zyra::OsUtils::StrLCpy(pOut, view.Text(index), length);
        return true;
    }
    pOut[0] = '\0';
    for (uint32_t i = 0; i < view.count; ++i) {
        if (i > 0) {
            Zyra::OsUtils::StrLCat(pOut, ",", length);
        }
        Zyra::OsUtils::StrLCat(pOut, view.Text(i), length);
    }
    return true;
}

bool GetNumbers(const FieldView& view, unsigned int index, char* pOut, unsigned int length) {
    if (!view.isArray) {
        // A single value or an optional one; a path going on below it is ignored.
        if (view.count == 0) {
            return false;
        }
        Reflection::FormatNumber(view.Element(), view.At(0), pOut, length);
        return true;
    }
    if (index < view.count) {
        Reflection::FormatNumber(view.Element(), view.At(index), pOut, length);
    } else if (view.count > 0) {
        WriteAll(view, pOut, length);
    }
    return true;
}

}  // namespace

bool GetValue(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              char* pOut, unsigned int length) {
    Reflection::PathStep step{};
    FieldView view{};
    if (pOut == nullptr || !Reflection::ViewStep(descriptor, pStructure, pPath, step, view)) {
        return false;
    }
    if (view.HoldsTexts()) {
        return GetTexts(view, step.index, pOut, length);
    }
    if (view.Element().kind != ElementKind::Struct) {
        return GetNumbers(view, step.index, pOut, length);
    }
    // A whole array of structures has no text: one element is asked for at a time.
    void* pElement = Reflection::StepInto(view, step.index);
    return pElement != nullptr &&
           GetValue(*view.Element().structType, pElement, step.pRest, pOut, length);
}

}  // namespace ParameterEngine
