// How the members of a field lie in its structure: element sizes, clearing, and the pointer
// word of strings and counted arrays, which is read and written as bytes since its pointee type
// is known only to the generated header.
#pragma once

#include <cstring>

#include "parser/engine/descriptors.h"

namespace ParameterEngine {

inline uint32_t ElementSize(const ElementType& element) {
    switch (element.kind) {
        case ElementKind::Scalar: return WidthOf(element.scalar);
        case ElementKind::Enum: return sizeof(uint32_t);
        case ElementKind::Struct: return element.structType->size;
        case ElementKind::String: return sizeof(char*);
    }
    return 0;
}

inline void* GetPointer(const unsigned char* pBase, uint32_t offset) {
    void* pointer = nullptr;
    std::memcpy(&pointer, pBase + offset, sizeof(pointer));
    return pointer;
}

inline void SetPointer(unsigned char* pBase, uint32_t offset, void* pointer) {
    std::memcpy(pBase + offset, &pointer, sizeof(pointer));
}

// Zeroes every member of `field` that has bytes in the file, nested reservedID words included.
inline void ClearField(const FieldDescriptor& field, unsigned char* pBase) {
    switch (field.kind) {
        case FieldKind::Inline:
        case FieldKind::ScalarBlock:
        case FieldKind::Memory:
            std::memset(pBase + field.offset, 0, field.count * ElementSize(field.element));
            break;
        case FieldKind::String:
            SetPointer(pBase, field.offset, nullptr);
            break;
        case FieldKind::Counted:
        case FieldKind::Optional:
            std::memset(pBase + field.countOffset, 0, sizeof(uint32_t));
            std::memset(pBase + field.idOffset, 0, sizeof(uint32_t));
            if (field.kind == FieldKind::Counted) {
                SetPointer(pBase, field.offset, nullptr);
            } else {
                std::memset(pBase + field.offset, 0, ElementSize(field.element));
            }
            break;
    }
}

}  // namespace ParameterEngine
