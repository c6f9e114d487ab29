// Tables that describe the plain structures of the module layer. The generator emits one
// constant table per structure, enum and module class; the engine walks them to load and
// unload any structure, so no structure has code of its own.
#pragma once

#include <atomic>
#include <cstdint>

namespace ParameterEngine {

// The type word of a scalar, which also fixes its width in the file.
enum class ScalarType : uint8_t {
    UInt8,
    UInt16,
    UInt32,
    Int32,
    UInt64,
    Int64,
    Float,
    Double,
    Boolean,
};

constexpr uint32_t WidthOf(ScalarType type) {
    switch (type) {
        case ScalarType::UInt8: return 1;
        case ScalarType::UInt16: return 2;
        case ScalarType::UInt64:
        case ScalarType::Int64:
        case ScalarType::Double: return 8;
        default: return 4;
    }
}

// Accepted values of an enum, as closed ranges in rising order.
struct EnumRange {
    uint32_t first;
    uint32_t last;
};

struct EnumDescriptor {
    // The name with its enclosing structures, as messages show it.
    const char* name;
    const EnumRange* ranges;
    uint32_t rangeCount;
};

struct FieldDescriptor;

struct StructDescriptor {
    const char* name;
    uint32_t size;
    const FieldDescriptor* fields;
    uint32_t fieldCount;
    // The structure begins with a reservedID word that no file holds.
    bool hasReservedId;
    // A string or counted array lies below, so Unload has something to give back.
    bool ownsMemory;
    // Source name of the reading sites of this structure's fields, which tells shared objects
    // apart together with each field's site number.
    const char* siteSource;
    // Whether the structure's file image is its memory, worked out by the loader on first use:
    // 0 not yet, 1 no, 2 yes. The answer never changes, so threads may race to store it.
    mutable std::atomic<uint8_t> flatness{0};
};

// What one element of a field is: a scalar, an enum, a structure, or the text of a counted
// array of strings.
enum class ElementKind : uint8_t { Scalar, Enum, Struct, String };

struct ElementType {
    ElementKind kind;
    ScalarType scalar;
    // An integer type word whose value is held as a 32-bit float.
    bool heldAsFloat;
    const EnumDescriptor* enumType;
    const StructDescriptor* structType;
};

enum class FieldKind : uint8_t {
    // A scalar, an enum or a structure, alone or as a fixed array read element by element.
    Inline,
    // A fixed array of scalars, read as one packed block.
    ScalarBlock,
    String,
    // <name>Count, <name>ID and a pointer to the elements in another entry.
    Counted,
    // <name>Exists, <name>ID and the element in line; its value lies in another entry.
    Optional,
    // A scalar that no file holds, cleared by Load.
    Memory,
};

struct FieldDescriptor {
    const char* name;
    FieldKind kind;
    ElementType element;
    // Offset of the member that holds the value, the elements or the pointer.
    uint32_t offset;
    // Counted and optional fields: offsets of the count or exists word and of the ID word.
    uint32_t countOffset;
    uint32_t idOffset;
    // Elements of a fixed array (1 for a field that is not one), over `dimCount` dimensions.
    uint32_t count;
    const uint32_t* dims;
    uint32_t dimCount;
    // Reading site of a counted array's shared object, unique within `siteSource`.
    uint32_t site;
    // The name a counted array's allocation failure reports, where it differs from `name`.
    const char* reportName;
};

// Where a module in trigger tree form keeps its tree and the control variable of each level.
// Offsets of the top structure's members are from the top structure; those of a node's
// members from the node.
struct TriggerTreeDescriptor {
    // control_variables, and in it the count and pointer words of control_var_type.
    uint32_t variablesOffset;
    uint32_t variableCountOffset;
    uint32_t variableArrayOffset;
    // Count and pointer words of the roots in the core.
    uint32_t rootCountOffset;
    uint32_t rootArrayOffset;
    const StructDescriptor* node;
    // The node's two head words, and the count and pointer words of its children.
    uint32_t indexOffset;
    uint32_t typeOffset;
    uint32_t childCountOffset;
    uint32_t childArrayOffset;
};

struct ModuleDescriptor {
    const char* className;
    const StructDescriptor* top;
    uint16_t major;
    uint16_t minor;
    uint32_t patch;
    // Registered module names, in the order of registration.
    const char* const* names;
    uint32_t nameCount;
    // The tuning family keeps a change generation in the top byte of ModuleID.
    bool masksModuleId;
    bool hasReflection;
    // Null unless the module is in trigger tree form.
    const TriggerTreeDescriptor* triggerTree;
};

// Element types and fields as the generated tables spell them.

constexpr ElementType ScalarElement(ScalarType type, bool heldAsFloat = false) {
    return ElementType{ElementKind::Scalar, type, heldAsFloat, nullptr, nullptr};
}

constexpr ElementType EnumElement(const EnumDescriptor& type) {
    return ElementType{ElementKind::Enum, ScalarType::UInt32, false, &type, nullptr};
}

constexpr ElementType StructElement(const StructDescriptor& type) {
    return ElementType{ElementKind::Struct, ScalarType::UInt32, false, nullptr, &type};
}

// Each element a length word and a pointer entry naming its text.
constexpr ElementType StringElement() {
    return ElementType{ElementKind::String, ScalarType::UInt32, false, nullptr, nullptr};
}

constexpr FieldDescriptor InlineField(const char* name, ElementType element, uint32_t offset,
                                      uint32_t count = 1, const uint32_t* dims = nullptr,
                                      uint32_t dimCount = 0) {
    return FieldDescriptor{name, FieldKind::Inline, element, offset, 0, 0, count, dims, dimCount,
                           0, nullptr};
}

constexpr FieldDescriptor BlockField(const char* name, ElementType element, uint32_t offset,
                                     uint32_t count, const uint32_t* dims, uint32_t dimCount) {
    return FieldDescriptor{name, FieldKind::ScalarBlock, element, offset, 0, 0, count, dims,
                           dimCount, 0, nullptr};
}

constexpr FieldDescriptor StringField(const char* name, uint32_t offset) {
    return FieldDescriptor{name, FieldKind::String, ScalarElement(ScalarType::UInt8), offset, 0, 0,
                           1, nullptr, 0, 0, nullptr};
}

constexpr FieldDescriptor CountedField(const char* name, ElementType element, uint32_t offset,
                                       uint32_t countOffset, uint32_t idOffset, uint32_t site,
                                       const char* reportName = nullptr) {
    return FieldDescriptor{name, FieldKind::Counted, element, offset, countOffset, idOffset, 1,
                           nullptr, 0, site, reportName};
}

constexpr FieldDescriptor OptionalField(const char* name, ElementType element, uint32_t offset,
                                        uint32_t existsOffset, uint32_t idOffset) {
    return FieldDescriptor{name, FieldKind::Optional, element, offset, existsOffset, idOffset, 1,
                           nullptr, 0, 0, nullptr};
}

constexpr FieldDescriptor MemoryField(const char* name, ElementType element, uint32_t offset) {
    return FieldDescriptor{name, FieldKind::Memory, element, offset, 0, 0, 1, nullptr, 0, 0,
                           nullptr};
}

}  // namespace ParameterEngine
