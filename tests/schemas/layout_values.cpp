#include "layout_values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "binwriter/value_writer.h"

namespace schema_test {
namespace {

using namespace ParameterEngine;

uint32_t MemberWidth(const ElementType& element) {
    switch (element.kind) {
        case ElementKind::Scalar: return element.heldAsFloat ? 4 : WidthOf(element.scalar);
        case ElementKind::Enum: return 4;
        case ElementKind::Struct: return element.structType->size;
        case ElementKind::String: return sizeof(char*);
    }
    return 0;
}

// The bits of value number `n` of a scalar: a float with a fraction for the float kinds, so
// that reading it as an integer, or an integer as a float, cannot pass.
uint64_t ScalarBits(const ElementType& element, uint64_t n) {
    if (element.heldAsFloat || element.scalar == ScalarType::Float) {
        float value = static_cast<float>(n) + 0.5f;
        uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return bits;
    }
    if (element.scalar == ScalarType::Double) {
        double value = static_cast<double>(n) + 0.25;
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return bits;
    }
    return n;
}

// An accepted value of the enum, different from one number to the next where the set allows.
uint32_t EnumValue(const EnumDescriptor& type, uint64_t n) {
    const EnumRange& range = type.ranges[n % type.rangeCount];
    uint64_t span = uint64_t{range.last} - range.first + 1;
    return static_cast<uint32_t>(range.first + n % span);
}

std::string Text(uint64_t n) { return "value " + std::to_string(n); }

void WriteBits(binwriter::ValueWriter& out, uint64_t bits, uint32_t width) {
    switch (width) {
        case 1: out.U8(static_cast<uint8_t>(bits)); break;
        case 2: out.U16(static_cast<uint16_t>(bits)); break;
        case 4: out.U32(static_cast<uint32_t>(bits)); break;
        default: out.U64(bits); break;
    }
}

template <typename T>
std::vector<T> BlockOf(const std::vector<uint64_t>& bits) {
    return std::vector<T>(bits.begin(), bits.end());
}

class Writer {
public:
    explicit Writer(binwriter::TuningBinaryBuilder& builder) : m_builder(builder) {}

    void Structure(const StructDescriptor& type, binwriter::ValueWriter& out) {
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            Field(type.fields[i], out);
        }
    }

private:
    void Field(const FieldDescriptor& field, binwriter::ValueWriter& out) {
        switch (field.kind) {
            case FieldKind::Memory: return;
            case FieldKind::String: out.String(Text(++m_sequence)); return;
            case FieldKind::ScalarBlock: Block(field.element, field.count, out); return;
            case FieldKind::Inline:
                for (uint32_t i = 0; i < field.count; ++i) {
                    Element(field.element, out);
                }
                return;
            case FieldKind::Counted:
            case FieldKind::Optional: {
                uint32_t count = field.kind == FieldKind::Counted ? kCountedElements : 1;
                binwriter::ValueWriter child(m_builder);
                if (field.kind == FieldKind::Counted && field.element.kind == ElementKind::Scalar) {
                    Block(field.element, count, child);
                } else {
                    for (uint32_t i = 0; i < count; ++i) {
                        Element(field.element, child);
                    }
                }
                out.U32(count).Pointer(m_builder.AddPointerTarget(child.Bytes()));
                return;
            }
        }
    }

    void Element(const ElementType& element, binwriter::ValueWriter& out) {
        switch (element.kind) {
            case ElementKind::Scalar:
                WriteBits(out, ScalarBits(element, ++m_sequence), MemberWidth(element));
                return;
            case ElementKind::Enum: out.U32(EnumValue(*element.enumType, ++m_sequence)); return;
            case ElementKind::Struct: Structure(*element.structType, out); return;
            case ElementKind::String: out.String(Text(++m_sequence)); return;
        }
    }

    void Block(const ElementType& element, uint32_t count, binwriter::ValueWriter& out) {
        std::vector<uint64_t> bits;
        for (uint32_t i = 0; i < count; ++i) {
            bits.push_back(ScalarBits(element, ++m_sequence));
        }
        switch (MemberWidth(element)) {
            case 1: out.Packed(BlockOf<uint8_t>(bits)); break;
            case 2: out.Packed(BlockOf<uint16_t>(bits)); break;
            case 4: out.Packed(BlockOf<uint32_t>(bits)); break;
            default: out.Packed(bits); break;
        }
    }

    binwriter::TuningBinaryBuilder& m_builder;
    uint64_t m_sequence = 0;
};

// Walks the loaded structure in the writer's order; stops at the first difference, since
// everything behind it differs too.
class Checker {
public:
    bool Structure(const StructDescriptor& type, const unsigned char* pBase,
                   const std::string& path) {
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const FieldDescriptor& field = type.fields[i];
            std::string name = path.empty() ? field.name : path + "." + field.name;
            if (!Field(field, pBase, name)) {
                return false;
            }
        }
        return true;
    }

private:
    bool Field(const FieldDescriptor& field, const unsigned char* pBase,
               const std::string& path) {
        const unsigned char* pMember = pBase + field.offset;
        switch (field.kind) {
            case FieldKind::Memory: return true;
            case FieldKind::String: return TextAt(pMember, path);
            case FieldKind::ScalarBlock:
            case FieldKind::Inline: return Elements(field.element, pMember, field.count, path);
            case FieldKind::Counted:
            case FieldKind::Optional: {
                uint32_t expected = field.kind == FieldKind::Counted ? kCountedElements : 1;
                uint32_t count = 0;
                const unsigned char* pElements = pMember;
                std::memcpy(&count, pBase + field.countOffset, sizeof count);
                if (field.kind == FieldKind::Counted) {
                    std::memcpy(&pElements, pMember, sizeof pElements);
                }
                if (!Expect(count == expected && pElements != nullptr, path,
                            std::to_string(expected) + " elements")) {
                    return false;
                }
                return Elements(field.element, pElements, count, path);
            }
        }
        return false;
    }

    bool Elements(const ElementType& element, const unsigned char* pFirst, uint32_t count,
                  const std::string& path) {
        for (uint32_t i = 0; i < count; ++i) {
            std::string name = count > 1 ? path + "[" + std::to_string(i) + "]" : path;
            if (!Element(element, pFirst + uint64_t{i} * MemberWidth(element), name)) {
                return false;
            }
        }
        return true;
    }

    bool Element(const ElementType& element, const unsigned char* pMember,
                 const std::string& path) {
        if (element.kind == ElementKind::Struct) {
            return Structure(*element.structType, pMember, path);
        }
        if (element.kind == ElementKind::String) {
            return TextAt(pMember, path);
        }
        uint64_t n = ++m_sequence;
        uint64_t expected = element.kind == ElementKind::Enum ? EnumValue(*element.enumType, n)
                                                              : ScalarBits(element, n);
        uint64_t actual = 0;
        std::memcpy(&actual, pMember, MemberWidth(element));
        return Expect(actual == expected, path, std::to_string(expected));
    }

    bool TextAt(const unsigned char* pMember, const std::string& path) {
        const char* pText = nullptr;
        std::memcpy(&pText, pMember, sizeof pText);
        std::string expected = Text(++m_sequence);
        return Expect(pText != nullptr && expected == pText, path, expected);
    }

    static bool Expect(bool good, const std::string& path, const std::string& expected) {
        if (!good) {
            ADD_FAILURE() << path << " does not hold the written " << expected;
        }
        return good;
    }

    uint64_t m_sequence = 0;
};

}  // namespace

std::vector<uint8_t> WriteValues(binwriter::TuningBinaryBuilder& builder,
                                 const StructDescriptor& type) {
    binwriter::ValueWriter out(builder);
    Writer(builder).Structure(type, out);
    return out.Bytes();
}

void ExpectValues(const StructDescriptor& type, const void* pStructure) {
    Checker().Structure(type, static_cast<const unsigned char*>(pStructure), "");
}

}  // namespace schema_test
