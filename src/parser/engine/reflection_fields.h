// What the three reflection operations share: splitting one step off a path, finding the field
// it names, and reading and writing the elements of a field as numbers.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"

namespace ParameterEngine {
namespace Reflection {

// Stands for "no index" in a path step; an index at or past the end of an array means the same.
constexpr unsigned int kNoIndex = 0xFFFFFFFF;

struct PathStep {
    // One component of at most 128 characters, as the path syntax allows.
    char name[129];
    unsigned int index;
    // What follows the component and its '.'.
    const char* pRest;
};

// Splits the first component off `pPath`; a null path is an empty one.
PathStep SplitPath(const char* pPath);

// A field of one structure as reflection sees it: single, array or optional, and the elements
// that can be reached now.
struct FieldView {
    const FieldDescriptor* field;
    unsigned char* pFirst;
    // Reachable elements: the fixed size, the loaded count (0 while the pointer is null), or
    // for an optional element 1 when it exists.
    uint32_t count;
    bool isArray;
    bool isOptional;
    // The exists word of an optional element, as reported.
    uint32_t exists;

    const ElementType& Element() const { return field->element; }
    unsigned char* At(uint32_t index) const;
    bool IsString() const { return field->kind == FieldKind::String; }
    // Elements that are texts: a string field, or an array of string pointers.
    bool HoldsTexts() const { return IsString() || field->element.kind == ElementKind::String; }
    // The text of a string field or of one element of a string array, empty while not loaded.
    const char* Text(uint32_t index = 0) const;
};

FieldView ViewOf(const FieldDescriptor& field, void* pStructure);

// Splits the first step off `pPath` and views the field it names in `pStructure`, the name
// compared exactly. False when the structure is null or `descriptor` has no such field; words
// that no file holds are no fields to a path. `step` is set in any case.
bool ViewStep(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              PathStep& step, FieldView& view);

// The element of a structure field that a path step with `index` goes into: the single
// element of a non-array, null when the index is out of range or the element absent.
void* StepInto(const FieldView& view, unsigned int index);

// The type word a client sees, and the decimals its values are written with.
const char* TypeWord(const ElementType& element);
unsigned int Precision(const ElementType& element);

double ReadNumber(const ElementType& element, const unsigned char* pElement);

// Converts `pText` and stores it in the type the element is held in: integers are cut towards
// zero and saturate, floats round to single precision. False, with the element left, when the
// text is no plain decimal number.
bool WriteNumber(const ElementType& element, unsigned char* pElement, const char* pText);

// DoubleToString of the element with its precision; nothing for a size of 0.
void FormatNumber(const ElementType& element, const unsigned char* pElement, char* pOut,
                  unsigned int size);

}  // namespace Reflection
}  // namespace ParameterEngine
