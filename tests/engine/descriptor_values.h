// Values for any generated structure, written with the writer and checked after a load by
// walking the structure's descriptor table. Both sides draw from the same sequence in the same
// order, so every member gets a value of its own and a member read from the wrong place shows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "parser/engine/descriptors.h"
#include "parser/engine/field_memory.h"

namespace engine_test {

// Elements that every counted array gets.
constexpr uint32_t kElementsPerArray = 2;

class ValueSequence {
public:
    // The next scalar, cut to `width` bytes.
    uint64_t Scalar(uint32_t width) {
        uint64_t value = ++m_counter * 0x9E3779B97F4A7C15ull;
        return width == 8 ? value : value & ((uint64_t{1} << (8 * width)) - 1);
    }

    // The next value that `type` accepts.
    uint32_t Enum(const ParameterEngine::EnumDescriptor& type) {
        const ParameterEngine::EnumRange& range = type.ranges[++m_counter % type.rangeCount];
        uint64_t span = uint64_t{range.last} - range.first + 1;
        return static_cast<uint32_t>(range.first + m_counter % span);
    }

    std::string Text() { return "text " + std::to_string(++m_counter); }

    // Every other optional element is absent: its pointer entry is there, its value is not.
    bool Exists() { return (++m_optionals % 2) != 0; }

private:
    uint64_t m_counter = 0;
    uint64_t m_optionals = 0;
};

class DescriptorWriter {
public:
    explicit DescriptorWriter(binwriter::TuningBinaryBuilder& builder) : m_builder(builder) {}

    std::vector<uint8_t> Write(const ParameterEngine::StructDescriptor& type) {
        binwriter::ValueWriter out(m_builder);
        WriteStruct(type, out);
        return out.Bytes();
    }

private:
    void WriteScalar(uint32_t width, binwriter::ValueWriter& out) {
        uint64_t value = m_values.Scalar(width);
        switch (width) {
            case 1: out.U8(static_cast<uint8_t>(value)); break;
            case 2: out.U16(static_cast<uint16_t>(value)); break;
            case 4: out.U32(static_cast<uint32_t>(value)); break;
            default: out.U64(value); break;
        }
    }

    // Scalars of a block lie packed, so they are written as their bytes.
    std::vector<uint8_t> BlockBytes(uint32_t width, uint32_t count) {
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < count; ++i) {
            uint64_t value = m_values.Scalar(width);
            for (uint32_t b = 0; b < width; ++b) {
                bytes.push_back(static_cast<uint8_t>(value >> (8 * b)));
            }
        }
        return bytes;
    }

    void WriteElement(const ParameterEngine::ElementType& element, binwriter::ValueWriter& out) {
        using ParameterEngine::ElementKind;
        switch (element.kind) {
            case ElementKind::Scalar:
                WriteScalar(ParameterEngine::WidthOf(element.scalar), out);
                break;
            case ElementKind::Enum: out.U32(m_values.Enum(*element.enumType)); break;
            case ElementKind::Struct: WriteStruct(*element.structType, out); break;
            case ElementKind::String: out.String(m_values.Text()); break;
        }
    }

    void WriteStruct(const ParameterEngine::StructDescriptor& type, binwriter::ValueWriter& out) {
        using ParameterEngine::FieldKind;
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const ParameterEngine::FieldDescriptor& field = type.fields[i];
            switch (field.kind) {
                case FieldKind::Inline:
                    for (uint32_t k = 0; k < field.count; ++k) {
                        WriteElement(field.element, out);
                    }
                    break;
                case FieldKind::ScalarBlock:
                    out.Packed(BlockBytes(ParameterEngine::WidthOf(field.element.scalar),
                                          field.count));
                    break;
                case FieldKind::String: out.String(m_values.Text()); break;
                case FieldKind::Counted: {
                    binwriter::ValueWriter child(m_builder);
                    if (field.element.kind == ParameterEngine::ElementKind::Scalar) {
                        child.Packed(BlockBytes(ParameterEngine::WidthOf(field.element.scalar),
                                                kElementsPerArray));
                    } else {
                        for (uint32_t k = 0; k < kElementsPerArray; ++k) {
                            WriteElement(field.element, child);
                        }
                    }
                    out.U32(kElementsPerArray).Pointer(m_builder.AddPointerTarget(child.Bytes()));
                    break;
                }
                case FieldKind::Optional: {
                    binwriter::ValueWriter child(m_builder);
                    bool exists = m_values.Exists();
                    if (exists) {
                        WriteElement(field.element, child);
                    }
                    out.U32(exists ? 1 : 0).Pointer(m_builder.AddPointerTarget(child.Bytes()));
                    break;
                }
                case FieldKind::Memory: break;
            }
        }
    }

    binwriter::TuningBinaryBuilder& m_builder;
    ValueSequence m_values;
};

// Compares a loaded structure with what DescriptorWriter wrote, and keeps the path of the first
// member that differs.
class DescriptorChecker {
public:
    // Empty when every member holds its value.
    std::string Check(const ParameterEngine::StructDescriptor& type, const void* pStructure) {
        CheckStruct(type, static_cast<const unsigned char*>(pStructure), type.name);
        return m_firstMismatch;
    }

private:
    void Expect(bool same, const std::string& path) {
        if (!same && m_firstMismatch.empty()) {
            m_firstMismatch = path;
        }
    }

    static bool IsZero(const unsigned char* pMember, uint32_t size) {
        return std::all_of(pMember, pMember + size, [](unsigned char b) { return b == 0; });
    }

    uint64_t Bits(const unsigned char* pMember, uint32_t width) {
        uint64_t value = 0;
        std::memcpy(&value, pMember, width);
        return value;
    }

    void CheckElement(const ParameterEngine::ElementType& element, const unsigned char* pMember,
                      const std::string& path) {
        using ParameterEngine::ElementKind;
        switch (element.kind) {
            case ElementKind::Scalar: {
                uint32_t width = ParameterEngine::WidthOf(element.scalar);
                Expect(Bits(pMember, width) == m_values.Scalar(width), path);
                break;
            }
            case ElementKind::Enum:
                Expect(Bits(pMember, 4) == m_values.Enum(*element.enumType), path);
                break;
            case ElementKind::Struct: CheckStruct(*element.structType, pMember, path); break;
            case ElementKind::String: CheckText(pMember, path); break;
        }
    }

    void CheckText(const unsigned char* pMember, const std::string& path) {
        auto* pText = static_cast<const char*>(ParameterEngine::GetPointer(pMember, 0));
        Expect(pText != nullptr && m_values.Text() == pText, path);
    }

    void CheckArray(const ParameterEngine::FieldDescriptor& field, const unsigned char* pBase,
                    const std::string& path) {
        Expect(Bits(pBase + field.countOffset, 4) == kElementsPerArray, path + "Count");
        Expect(Bits(pBase + field.idOffset, 4) != 0, path + "ID");
        auto* pArray = static_cast<const unsigned char*>(
            ParameterEngine::GetPointer(pBase, field.offset));
        Expect(pArray != nullptr, path);
        if (pArray == nullptr) {
            return;
        }
        uint32_t stride = ParameterEngine::ElementSize(field.element);
        for (uint32_t k = 0; k < kElementsPerArray; ++k) {
            CheckElement(field.element, pArray + k * stride,
                         path + "[" + std::to_string(k) + "]");
        }
    }

    void CheckStruct(const ParameterEngine::StructDescriptor& type, const unsigned char* pBase,
                     const std::string& path) {
        using ParameterEngine::FieldKind;
        if (type.hasReservedId) {
            Expect(Bits(pBase, 4) == 0, path + ".reservedID");
        }
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const ParameterEngine::FieldDescriptor& field = type.fields[i];
            std::string at = path + "." + field.name;
            uint32_t stride = ParameterEngine::ElementSize(field.element);
            switch (field.kind) {
                case FieldKind::Inline:
                case FieldKind::ScalarBlock:
                    for (uint32_t k = 0; k < field.count; ++k) {
                        CheckElement(field.element, pBase + field.offset + k * stride, at);
                    }
                    break;
                case FieldKind::String: CheckText(pBase + field.offset, at); break;
                case FieldKind::Counted: CheckArray(field, pBase, at); break;
                case FieldKind::Optional:
                    if (m_values.Exists()) {
                        Expect(Bits(pBase + field.countOffset, 4) == 1, at + "Exists");
                        CheckElement(field.element, pBase + field.offset, at);
                    } else {
                        Expect(Bits(pBase + field.countOffset, 4) == 0, at + "Exists");
                        Expect(IsZero(pBase + field.offset, stride), at);
                    }
                    break;
                case FieldKind::Memory: break;
            }
        }
    }

    ValueSequence m_values;
    std::string m_firstMismatch;
};

}  // namespace engine_test
