#include "field_assignment.h"

#include <cstring>
#include <vector>

#include "json_codec.h"
#include "parser/engine/reflection_fields.h"
#include "tool_error.h"

namespace zyratune {
namespace {

using namespace ParameterEngine;
using Reflection::FieldView;
using Reflection::PathStep;

Json ParseValue(const std::string& text) {
    Json value = Json::parse(text, nullptr, false);
    return value.is_discarded() ? Json(text) : value;
}

// The field the path ends at, with the index its last step gives.
struct Leaf {
    FieldView view;
    unsigned int index;
};

Leaf FindLeaf(const StructDescriptor& type, void* pTop, const std::string& path,
              const std::string& where) {
    const StructDescriptor* pType = &type;
    void* pStructure = pTop;
    std::string rest = path;
    for (;;) {
        PathStep step{};
        FieldView view{};
        if (rest.empty() || !Reflection::ViewStep(*pType, pStructure, rest.c_str(), step, view)) {
            throw ToolError(where + ": no such field");
        }
        if (step.index != Reflection::kNoIndex && (!view.isArray || step.index >= view.count)) {
            throw ToolError(where + ": index " + std::to_string(step.index) + " is outside " +
                            step.name + ", which has " + std::to_string(view.count) +
                            " elements");
        }
        rest = step.pRest != nullptr ? step.pRest : "";
        if (rest.empty()) {
            return {view, step.index};
        }
        if (view.Element().kind != ElementKind::Struct) {
            throw ToolError(where + ": no such field");
        }
        if (view.isArray && step.index == Reflection::kNoIndex) {
            throw ToolError(where + ": " + step.name + " needs an index");
        }
        pStructure = Reflection::StepInto(view, view.isArray ? step.index : 0);
        if (pStructure == nullptr) {
            throw ToolError(where + ": " + step.name + " is absent in this module");
        }
        pType = view.Element().structType;
    }
}

}  // namespace

void AssignField(const StructDescriptor& type, void* pTop, const std::string& path,
                 const std::string& text, const std::string& where) {
    const Leaf leaf = FindLeaf(type, pTop, path, where);
    const FieldView& view = leaf.view;
    const ElementType& element = view.Element();
    if (view.HoldsTexts()) {
        throw ToolError(where + ": is a text, which set does not change; edit it in the JSON "
                                "of dump --json and build it");
    }
    if (element.kind == ElementKind::Struct) {
        throw ToolError(where + ": is a structure; set one of its fields");
    }
    if (view.count == 0 && !view.isArray) {
        throw ToolError(where + ": is absent in this module");
    }
    std::vector<unsigned char*> targets;
    Json values;
    if (view.isArray && leaf.index == Reflection::kNoIndex) {
        values = ParseValue(!text.empty() && text[0] == '[' ? text : "[" + text + "]");
        if (!values.is_array() || values.size() != view.count) {
            throw ToolError(where + ": takes " + std::to_string(view.count) +
                            " values joined by ','");
        }
        for (uint32_t i = 0; i < view.count; ++i) {
            targets.push_back(view.At(i));
        }
    } else {
        values = Json::array({ParseValue(text)});
        targets.push_back(view.At(view.isArray ? leaf.index : 0));
    }
    const size_t width = element.kind == ElementKind::Enum || element.heldAsFloat
                             ? sizeof(uint32_t)
                             : WidthOf(element.scalar);
    std::vector<uint64_t> bits;
    for (size_t i = 0; i < targets.size(); ++i) {
        const std::string place =
            targets.size() > 1 ? where + "[" + std::to_string(i) + "]" : where;
        bits.push_back(ElementBits(element, values[i], place, true));
    }
    // Values are little-endian in memory on every target the library runs on.
    for (size_t i = 0; i < targets.size(); ++i) {
        std::memcpy(targets[i], &bits[i], width);
    }
}

}  // namespace zyratune
