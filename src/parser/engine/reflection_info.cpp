#include "parser/engine/reflection_engine.h"
#include "parser/engine/reflection_fields.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace ParameterEngine {
namespace {

using Reflection::FieldView;

// The record that lists a field, under `pName`: its value where it has a single one, else its
// shape and size. Array elements and the words beside counted and optional fields are not
// listed; a client walks down by asking again.
ParameterParserInfo Record(const FieldView& view, const char* pName) {
    if (view.IsString()) {
        return ParameterParserInfo(pName, ParameterParserInfo::kString, view.Text());
    }
    const ElementType& element = view.Element();
    const char* pType = Reflection::TypeWord(element);
    if (view.isOptional) {
        ParameterParserInfo record(pName, pType, false, true, view.exists);
        if (element.kind != ElementKind::Struct && view.count > 0) {
            Reflection::FormatNumber(element, view.At(0), record.Value, sizeof(record.Value));
        }
        return record;
    }
    if (view.isArray) {
        return ParameterParserInfo(pName, pType, true, false, view.count);
    }
    if (element.kind == ElementKind::Struct) {
        return ParameterParserInfo(pName, pType);
    }
    return ParameterParserInfo(pName, pType, Reflection::ReadNumber(element, view.At(0)),
                               Reflection::Precision(element));
}

// A full list drops the record without a word, as the list's callers expect.
void Append(PList<ParameterParserInfo>& info, const ParameterParserInfo& record) {
    info.Insert(info.Count(), record);
}

bool ListStructure(const StructDescriptor& descriptor, void* pStructure,
                   PList<ParameterParserInfo>& info) {
    for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
        const FieldDescriptor& field = descriptor.fields[i];
        if (field.kind != FieldKind::Memory) {
            Append(info, Record(Reflection::ViewOf(field, pStructure), field.name));
        }
    }
    return true;
}

}  // namespace

bool GetInfo(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
             PList<ParameterParserInfo>& info) {
    Reflection::PathStep step{};
    FieldView view{};
    if (!Reflection::ViewStep(descriptor, pStructure, pPath, step, view)) {
        // An empty path lists the structure itself.
        return pStructure != nullptr && step.name[0] == '\0' &&
               ListStructure(descriptor, pStructure, info);
    }
    if (view.IsString() || view.Element().kind != ElementKind::Struct) {
        // An array's size comes from its parent's list; its elements are not described.
        if (view.isArray) {
            return false;
        }
        Append(info, Record(view, nullptr));
        return true;
    }
    if (void* pElement = Reflection::StepInto(view, step.index)) {
        return GetInfo(*view.Element().structType, pElement, step.pRest, info);
    }
    // An index out of range, or an optional element that is absent: its shape alone.
    Append(info, Record(view, nullptr));
    return true;
}

}  // namespace ParameterEngine
