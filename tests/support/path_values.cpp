#include "path_values.h"

#include <algorithm>
#include <cstring>

#include "parser/engine/field_memory.h"

namespace zyra_test {
namespace {

using ParameterEngine::ElementKind;
using ParameterEngine::ElementType;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::StructDescriptor;

uint64_t Mix(uint64_t value) {
    value += 0x9E3779B97F4A7C15ull;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ull;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBull;
    return value ^ (value >> 31);
}

uint64_t Draw(uint64_t salt, const std::string& path) {
    uint64_t hash = 0xCBF29CE484222325ull;
    for (unsigned char c : path) {
        hash = (hash ^ c) * 0x100000001B3ull;
    }
    return Mix(salt ^ hash);
}

bool Exists(uint64_t salt, const std::string& path) {
    return Draw(salt, path + "?") % 2 == 0;
}

uint32_t EnumValue(uint64_t salt, const std::string& path,
                   const ParameterEngine::EnumDescriptor& type) {
    uint64_t draw = Draw(salt, path);
    const ParameterEngine::EnumRange& range = type.ranges[draw % type.rangeCount];
    return static_cast<uint32_t>(range.first +
                                 (draw >> 8) % (uint64_t{range.last} - range.first + 1));
}

std::string Indexed(const std::string& path, uint32_t index) {
    return path + "[" + std::to_string(index) + "]";
}

std::string Member(const std::string& path, const char* pName) {
    return path.empty() ? pName : path + "." + pName;
}

void WriteBits(uint64_t bits, uint32_t width, binwriter::ValueWriter& out) {
    switch (width) {
        case 1: out.U8(static_cast<uint8_t>(bits)); break;
        case 2: out.U16(static_cast<uint16_t>(bits)); break;
        case 4: out.U32(static_cast<uint32_t>(bits)); break;
        default: out.U64(bits); break;
    }
}

std::vector<uint8_t> PackedBits(uint64_t salt, const std::string& path, uint32_t width,
                                uint32_t count) {
    std::vector<uint8_t> bytes;
    for (uint32_t i = 0; i < count; ++i) {
        uint64_t bits = ScalarBits(salt, Indexed(path, i), width);
        for (uint32_t b = 0; b < width; ++b) {
            bytes.push_back(static_cast<uint8_t>(bits >> (8 * b)));
        }
    }
    return bytes;
}

// The structures being walked, outermost first.
using OpenStructs = std::vector<const StructDescriptor*>;

// The elements of the counted array `field` at `path`: none where they would nest without end.
uint32_t CountOf(const FieldDescriptor& field, const OpenStructs& open, uint64_t salt,
                 const std::string& path) {
    const bool nests = field.element.kind == ElementKind::Struct &&
                       std::find(open.begin(), open.end(), field.element.structType) != open.end();
    return nests ? 0 : ElementCount(salt, path);
}

class Checker {
public:
    explicit Checker(const Override& override) : m_override(override) {}

    void Struct(const StructDescriptor& type, const unsigned char* pBase, uint64_t salt,
                const std::string& path, const ValueSource* pTop) {
        m_open.push_back(&type);
        if (type.hasReservedId && !pTop) {
            Expect(Bits(pBase, 4) == 0, Member(path, "reservedID"));
        }
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const FieldDescriptor& field = type.fields[i];
            const std::string at = Member(path, field.name);
            const uint64_t fieldSalt = pTop != nullptr ? SaltOf(*pTop, field) : salt;
            const unsigned char* pMember = pBase + field.offset;
            const uint32_t stride = ParameterEngine::ElementSize(field.element);
            switch (field.kind) {
                case FieldKind::Inline:
                case FieldKind::ScalarBlock:
                    if (field.kind == FieldKind::Inline && field.count == 1 &&
                        field.dimCount == 0) {
                        Element(field.element, pMember, fieldSalt, at);
                        break;
                    }
                    for (uint32_t k = 0; k < field.count; ++k) {
                        Element(field.element, pMember + k * stride, fieldSalt, Indexed(at, k));
                    }
                    break;
                case FieldKind::String: Text(pMember, fieldSalt, at); break;
                case FieldKind::Counted: Array(field, pBase, fieldSalt, at); break;
                case FieldKind::Optional:
                    if (Exists(fieldSalt, at)) {
                        Expect(Bits(pBase + field.countOffset, 4) != 0, at + "Exists");
                        Element(field.element, pMember, fieldSalt, at);
                    } else {
                        Expect(Bits(pBase + field.countOffset, 4) == 0, at + "Exists");
                    }
                    break;
                case FieldKind::Memory: break;
            }
        }
        m_open.pop_back();
    }

    std::string FirstMismatch() const { return m_first; }

private:
    void Expect(bool same, const std::string& path) {
        if (!same && m_first.empty()) {
            m_first = path;
        }
    }

    static uint64_t Bits(const unsigned char* pMember, uint32_t width) {
        uint64_t value = 0;
        std::memcpy(&value, pMember, width);
        return value;
    }

    uint64_t Expected(uint64_t drawn, const std::string& path) const {
        uint64_t bits = drawn;
        return m_override && m_override(path, bits) ? bits : drawn;
    }

    void Element(const ElementType& element, const unsigned char* pMember, uint64_t salt,
                 const std::string& path) {
        switch (element.kind) {
            case ElementKind::Scalar: {
                uint32_t width = ParameterEngine::WidthOf(element.scalar);
                Expect(Bits(pMember, width) == Expected(ScalarBits(salt, path, width), path), path);
                break;
            }
            case ElementKind::Enum:
                Expect(Bits(pMember, 4) == Expected(EnumValue(salt, path, *element.enumType), path),
                       path);
                break;
            case ElementKind::Struct:
                Struct(*element.structType, pMember, salt, path, nullptr);
                break;
            case ElementKind::String: Text(pMember, salt, path); break;
        }
    }

    void Text(const unsigned char* pMember, uint64_t salt, const std::string& path) {
        auto* pText = static_cast<const char*>(ParameterEngine::GetPointer(pMember, 0));
        Expect(pText != nullptr && TextValue(salt, path) == pText, path);
    }

    void Array(const FieldDescriptor& field, const unsigned char* pBase, uint64_t salt,
               const std::string& path) {
        const uint32_t count = CountOf(field, m_open, salt, path);
        Expect(Bits(pBase + field.countOffset, 4) == count, path + "Count");
        auto* pArray =
            static_cast<const unsigned char*>(ParameterEngine::GetPointer(pBase, field.offset));
        Expect((pArray != nullptr) == (count != 0), path);
        if (pArray == nullptr || Bits(pBase + field.countOffset, 4) != count) {
            return;
        }
        const uint32_t stride = ParameterEngine::ElementSize(field.element);
        for (uint32_t k = 0; k < count; ++k) {
            Element(field.element, pArray + k * stride, salt, Indexed(path, k));
        }
    }

    const Override& m_override;
    std::string m_first;
    OpenStructs m_open;
};

}  // namespace

uint64_t ScalarBits(uint64_t salt, const std::string& path, uint32_t width) {
    uint64_t bits = Draw(salt, path);
    return width == 8 ? bits : bits & ((uint64_t{1} << (8 * width)) - 1);
}

std::string TextValue(uint64_t salt, const std::string& path) {
    return "t" + std::to_string(Draw(salt, path) % 100000);
}

uint32_t ElementCount(uint64_t salt, const std::string& path) {
    return 1 + static_cast<uint32_t>(Draw(salt, path + "#") % 3);
}

uint64_t SaltOf(const ValueSource& source, const FieldDescriptor& field) {
    bool shareable = field.kind == FieldKind::String || (field.kind == FieldKind::Counted &&
                                                         field.element.kind != ElementKind::Scalar);
    return shareable && source.sharedSalt != 0 ? source.sharedSalt : source.salt;
}

std::vector<uint8_t> PathValueWriter::Module(const StructDescriptor& top,
                                             const ValueSource& source) {
    binwriter::ValueWriter out(m_builder);
    Struct(top, source.salt, "", out, &source);
    return out.Bytes();
}

void PathValueWriter::Element(const ElementType& element, uint64_t salt, const std::string& path,
                              binwriter::ValueWriter& out) {
    switch (element.kind) {
        case ElementKind::Scalar: {
            uint32_t width = ParameterEngine::WidthOf(element.scalar);
            WriteBits(ScalarBits(salt, path, width), width, out);
            break;
        }
        case ElementKind::Enum: out.U32(EnumValue(salt, path, *element.enumType)); break;
        case ElementKind::Struct: Struct(*element.structType, salt, path, out, nullptr); break;
        case ElementKind::String: out.String(TextValue(salt, path)); break;
    }
}

void PathValueWriter::Struct(const StructDescriptor& type, uint64_t salt, const std::string& path,
                             binwriter::ValueWriter& out, const ValueSource* pTop) {
    m_open.push_back(&type);
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        const FieldDescriptor& field = type.fields[i];
        const std::string at = Member(path, field.name);
        const uint64_t fieldSalt = pTop != nullptr ? SaltOf(*pTop, field) : salt;
        const uint64_t shared = pTop != nullptr && fieldSalt != pTop->salt ? fieldSalt : 0;
        switch (field.kind) {
            case FieldKind::Inline:
                if (field.count == 1 && field.dimCount == 0) {
                    Element(field.element, fieldSalt, at, out);
                } else {
                    for (uint32_t k = 0; k < field.count; ++k) {
                        Element(field.element, fieldSalt, Indexed(at, k), out);
                    }
                }
                break;
            case FieldKind::ScalarBlock:
                out.Packed(PackedBits(fieldSalt, at, ParameterEngine::WidthOf(field.element.scalar),
                                      field.count));
                break;
            case FieldKind::String: {
                const std::string text = TextValue(fieldSalt, at);
                out.U32(static_cast<uint32_t>(text.size() + 1));
                out.Pointer(Target({text.c_str(), text.c_str() + text.size() + 1}, shared, at));
                break;
            }
            case FieldKind::Counted: {
                const uint32_t count = CountOf(field, m_open, fieldSalt, at);
                binwriter::ValueWriter child(m_builder);
                if (field.element.kind == ElementKind::Scalar) {
                    child.Packed(PackedBits(fieldSalt, at,
                                            ParameterEngine::WidthOf(field.element.scalar), count));
                } else if (shared == 0 || m_shared.count({shared, at}) == 0) {
                    for (uint32_t k = 0; k < count; ++k) {
                        Element(field.element, fieldSalt, Indexed(at, k), child);
                    }
                }
                out.U32(count).Pointer(Target(child.Bytes(), shared, at));
                break;
            }
            case FieldKind::Optional: {
                binwriter::ValueWriter child(m_builder);
                const bool exists = Exists(fieldSalt, at);
                if (exists) {
                    Element(field.element, fieldSalt, at, child);
                }
                out.U32(exists ? 1 : 0).Pointer(m_builder.AddPointerTarget(child.Bytes()));
                break;
            }
            case FieldKind::Memory: break;
        }
    }
    m_open.pop_back();
}

uint32_t PathValueWriter::Target(std::vector<uint8_t> bytes, uint64_t sharedSalt,
                                 const std::string& path) {
    if (sharedSalt == 0) {
        return m_builder.AddPointerTarget(std::move(bytes));
    }
    auto found = m_shared.find({sharedSalt, path});
    if (found == m_shared.end()) {
        uint32_t id = m_builder.AddPointerTarget(bytes);
        m_shared.emplace(std::make_pair(sharedSalt, path), std::make_pair(std::move(bytes), id));
        return id;
    }
    return m_builder.AddPointerTarget(found->second.first, found->second.second);
}

std::string CheckModule(const StructDescriptor& top, const void* pStructure,
                        const ValueSource& source, const Override& override) {
    Checker checker(override);
    checker.Struct(top, static_cast<const unsigned char*>(pStructure), source.salt, "", &source);
    return checker.FirstMismatch();
}

}  // namespace zyra_test
