#include "parser/runtimeschema/schema_layout.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>

namespace RuntimeSchema {
namespace {

using ParameterEngine::ElementKind;
using ParameterEngine::ElementType;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::ScalarType;
using ParameterEngine::StructDescriptor;

// The alignment a member of type T has inside a structure, which on some ABIs is less than
// alignof(T) for 64-bit types.
template <typename T>
constexpr uint32_t MemberAlignment() {
    struct Probe {
        char before;
        T member;
    };
    return offsetof(Probe, member);
}

constexpr uint32_t kWordAlignment = MemberAlignment<uint32_t>();
constexpr uint32_t kPointerAlignment = MemberAlignment<void*>();

uint32_t ScalarAlignment(ScalarType type, bool heldAsFloat) {
    if (heldAsFloat) {
        return MemberAlignment<float>();
    }
    switch (type) {
        case ScalarType::UInt8: return MemberAlignment<uint8_t>();
        case ScalarType::UInt16: return MemberAlignment<uint16_t>();
        case ScalarType::UInt64: return MemberAlignment<uint64_t>();
        case ScalarType::Int64: return MemberAlignment<int64_t>();
        case ScalarType::Float: return MemberAlignment<float>();
        case ScalarType::Double: return MemberAlignment<double>();
        default: return kWordAlignment;
    }
}

// Sizes and alignments of what the structures of one file hold. Structures of this file are
// known once laid out; those of a used namespace are measured from their descriptors.
class Measures {
public:
    uint64_t Size(const ElementType& element) {
        switch (element.kind) {
            case ElementKind::Scalar:
                return element.heldAsFloat ? sizeof(float)
                                           : ParameterEngine::WidthOf(element.scalar);
            case ElementKind::Enum: return sizeof(uint32_t);
            case ElementKind::Struct: return element.structType->size;
            case ElementKind::String: return sizeof(char*);
        }
        return 0;
    }

    uint32_t Alignment(const ElementType& element) {
        switch (element.kind) {
            case ElementKind::Scalar: return ScalarAlignment(element.scalar, element.heldAsFloat);
            case ElementKind::Enum: return kWordAlignment;
            case ElementKind::Struct: return Alignment(*element.structType);
            case ElementKind::String: return kPointerAlignment;
        }
        return 1;
    }

    uint32_t Alignment(const StructDescriptor& type) {
        auto known = m_alignments.find(&type);
        if (known != m_alignments.end()) {
            return known->second;
        }
        uint32_t alignment = type.hasReservedId ? kWordAlignment : 1;
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            alignment = std::max(alignment, FieldAlignment(type.fields[i]));
        }
        return alignment;
    }

    // Structures held in line one inside the other, `type` included.
    uint32_t Depth(const StructDescriptor& type) {
        auto known = m_depths.find(&type);
        if (known != m_depths.end()) {
            return known->second;
        }
        uint32_t depth = 0;
        for (uint32_t i = 0; i < type.fieldCount && depth <= kMaxStructureDepth; ++i) {
            const FieldDescriptor& field = type.fields[i];
            if (field.kind != FieldKind::Counted && field.element.kind == ElementKind::Struct) {
                depth = std::max(depth, Depth(*field.element.structType));
            }
        }
        m_depths[&type] = depth + 1;
        return depth + 1;
    }

    void Remember(const StructDescriptor& type, uint32_t alignment) {
        m_alignments[&type] = alignment;
    }

private:
    uint32_t FieldAlignment(const FieldDescriptor& field) {
        switch (field.kind) {
            case FieldKind::String: return kPointerAlignment;
            case FieldKind::Counted: return std::max(kWordAlignment, kPointerAlignment);
            case FieldKind::Optional: return std::max(kWordAlignment, Alignment(field.element));
            default: return Alignment(field.element);
        }
    }

    std::unordered_map<const StructDescriptor*, uint32_t> m_alignments;
    std::unordered_map<const StructDescriptor*, uint32_t> m_depths;
};

// Members placed one after the other, each at the next multiple of its alignment.
class Placement {
public:
    uint32_t Place(uint64_t size, uint32_t alignment) {
        m_end = (m_end + alignment - 1) / alignment * alignment;
        const uint64_t offset = m_end;
        m_end += size;
        m_alignment = std::max(m_alignment, alignment);
        // Beyond the limit the whole structure is refused, so the offset is never used.
        return static_cast<uint32_t>(std::min(offset, kMaxStructureSize));
    }
    uint64_t Size() const { return (m_end + m_alignment - 1) / m_alignment * m_alignment; }
    uint32_t Alignment() const { return m_alignment; }

private:
    uint64_t m_end = 0;
    uint32_t m_alignment = 1;
};

bool OwnsMemory(const StructDescriptor& type) {
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        const FieldDescriptor& field = type.fields[i];
        if (field.kind == FieldKind::Counted || field.kind == FieldKind::String ||
            (field.element.kind == ElementKind::Struct && field.element.structType->ownsMemory)) {
            return true;
        }
    }
    return false;
}

void PlaceField(FieldDescriptor& field, Placement& placement, Measures& measures) {
    switch (field.kind) {
        case FieldKind::String:
            field.offset = placement.Place(sizeof(char*), kPointerAlignment);
            break;
        case FieldKind::Counted:
        case FieldKind::Optional: {
            field.countOffset = placement.Place(sizeof(uint32_t), kWordAlignment);
            field.idOffset = placement.Place(sizeof(uint32_t), kWordAlignment);
            const bool counted = field.kind == FieldKind::Counted;
            field.offset = counted ? placement.Place(sizeof(void*), kPointerAlignment)
                                   : placement.Place(measures.Size(field.element),
                                                     measures.Alignment(field.element));
            break;
        }
        default:
            field.offset = placement.Place(uint64_t{field.count} * measures.Size(field.element),
                                           measures.Alignment(field.element));
            break;
    }
}

}  // namespace

std::vector<StructDecl*> AllStructures(const std::vector<std::unique_ptr<StructDecl>>& structures) {
    std::vector<StructDecl*> ordered;
    struct Visit {
        std::vector<StructDecl*>& ordered;
        void operator()(StructDecl& structure) const {
            for (auto& inner : structure.nested) {
                (*this)(*inner);
            }
            ordered.push_back(&structure);
        }
    } visit{ordered};
    for (const auto& structure : structures) {
        visit(*structure);
    }
    return ordered;
}

bool LayOut(const std::vector<std::unique_ptr<StructDecl>>& structures, const char* siteSource,
            const std::string& path, SchemaError& error) {
    Measures measures;
    uint32_t site = 1;
    for (StructDecl* pDecl : AllStructures(structures)) {
        StructDescriptor& type = *pDecl->descriptor;
        Placement placement;
        if (pDecl->top) {
            placement.Place(sizeof(uint32_t), kWordAlignment);  // ModuleID
        }
        if (pDecl->reservedId) {
            placement.Place(sizeof(uint32_t), kWordAlignment);
        }
        for (FieldDescriptor& field : *pDecl->fields) {
            PlaceField(field, placement, measures);
            if (field.kind == FieldKind::Counted) {
                field.site = site++;
            }
        }
        if (placement.Size() > kMaxStructureSize) {
            error = {path, pDecl->line,
                     "'" + pDecl->cppPath + "' takes more than " +
                         std::to_string(kMaxStructureSize) + " bytes"};
            return false;
        }
        if (measures.Depth(type) > kMaxStructureDepth) {
            error = {
                path, pDecl->line,
                "structures nest deeper than " + std::to_string(kMaxStructureDepth) + " levels"};
            return false;
        }
        type.size = static_cast<uint32_t>(placement.Size());
        type.ownsMemory = OwnsMemory(type);
        type.siteSource = siteSource;
        measures.Remember(type, placement.Alignment());
    }
    return true;
}

}  // namespace RuntimeSchema
