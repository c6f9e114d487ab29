#include "json_codec.h"

#include <cstring>
#include <limits>

#include "binwriter/byte_writer.h"
#include "parser/engine/field_memory.h"
#include "tool_error.h"

namespace zyratune {
namespace {

using namespace ParameterEngine;

// Readers share all texts at one reading site, and each counted array of structures, enums or
// texts at a site of its own.
const char kTextSite[] = "text";

template <typename T>
T Load(const unsigned char* pMember) {
    T value;
    std::memcpy(&value, pMember, sizeof(T));
    return value;
}

Json DecodeScalar(const ElementType& element, const unsigned char* pMember) {
    if (element.heldAsFloat) {
        return FloatJson(Load<float>(pMember));
    }
    switch (element.scalar) {
        case ScalarType::UInt8: return Load<uint8_t>(pMember);
        case ScalarType::UInt16: return Load<uint16_t>(pMember);
        case ScalarType::UInt32: return Load<uint32_t>(pMember);
        case ScalarType::Int32: return Load<int32_t>(pMember);
        case ScalarType::UInt64: return Load<uint64_t>(pMember);
        case ScalarType::Int64: return Load<int64_t>(pMember);
        case ScalarType::Float: return FloatJson(Load<float>(pMember));
        case ScalarType::Double: return DoubleJson(Load<double>(pMember));
        case ScalarType::Boolean: {
            const uint32_t word = Load<uint32_t>(pMember);
            return word <= 1 ? Json(word == 1) : Json(word);
        }
    }
    return nullptr;
}

Json DecodeElement(const ElementType& element, const unsigned char* pMember) {
    switch (element.kind) {
        case ElementKind::Scalar: return DecodeScalar(element, pMember);
        case ElementKind::Enum: return Load<uint32_t>(pMember);
        case ElementKind::Struct: return DecodeStructure(*element.structType, pMember);
        case ElementKind::String: {
            auto* pText = static_cast<const char*>(GetPointer(pMember, 0));
            return TextJson(pText != nullptr ? pText : "");
        }
    }
    return nullptr;
}

Json DecodeArray(const ElementType& element, const unsigned char* pFirst, uint32_t count) {
    Json array = Json::array();
    for (uint32_t i = 0; i < count; ++i) {
        array.push_back(DecodeElement(element, pFirst + uint64_t{i} * ElementSize(element)));
    }
    return array;
}

Json DecodeField(const FieldDescriptor& field, const unsigned char* pBase) {
    switch (field.kind) {
        case FieldKind::Inline:
        case FieldKind::ScalarBlock:
            return field.dimCount == 0 && field.count == 1
                       ? DecodeElement(field.element, pBase + field.offset)
                       : DecodeArray(field.element, pBase + field.offset, field.count);
        case FieldKind::String: return DecodeElement(StringElement(), pBase + field.offset);
        case FieldKind::Counted: {
            auto* pArray = static_cast<const unsigned char*>(GetPointer(pBase, field.offset));
            uint32_t count = pArray != nullptr ? Load<uint32_t>(pBase + field.countOffset) : 0;
            return DecodeArray(field.element, pArray, count);
        }
        case FieldKind::Optional:
            return Load<uint32_t>(pBase + field.countOffset) != 0
                       ? DecodeElement(field.element, pBase + field.offset)
                       : Json(nullptr);
        case FieldKind::Memory: break;
    }
    return nullptr;
}

bool InEnum(const EnumDescriptor& type, uint64_t value) {
    for (uint32_t i = 0; i < type.rangeCount; ++i) {
        if (value >= type.ranges[i].first && value <= type.ranges[i].last) {
            return true;
        }
    }
    return false;
}

template <typename T>
uint64_t Integer(const Json& value, const std::string& where) {
    if (value.is_number_unsigned()) {
        uint64_t number = value.get<uint64_t>();
        if (number <= static_cast<uint64_t>(std::numeric_limits<T>::max())) {
            return binwriter::ToBits(static_cast<T>(number));
        }
    } else if (value.is_number_integer()) {
        // Only a negative number gets here.
        if constexpr (std::numeric_limits<T>::is_signed) {
            int64_t number = value.get<int64_t>();
            if (number >= std::numeric_limits<T>::min()) {
                return binwriter::ToBits(static_cast<T>(number));
            }
        }
    }
    throw ToolError(where + ": must be an integer in range");
}

uint64_t ScalarBits(const ElementType& element, const Json& value, const std::string& where) {
    if (element.heldAsFloat) {
        return FloatBits(value, 4, where);
    }
    switch (element.scalar) {
        case ScalarType::UInt8: return Integer<uint8_t>(value, where);
        case ScalarType::UInt16: return Integer<uint16_t>(value, where);
        case ScalarType::UInt32: return Integer<uint32_t>(value, where);
        case ScalarType::Int32: return Integer<int32_t>(value, where);
        case ScalarType::UInt64: return Integer<uint64_t>(value, where);
        case ScalarType::Int64: return Integer<int64_t>(value, where);
        case ScalarType::Float: return FloatBits(value, 4, where);
        case ScalarType::Double: return FloatBits(value, 8, where);
        case ScalarType::Boolean:
            if (value.is_boolean()) {
                return value.get<bool>() ? 1 : 0;
            }
            if (!value.is_number_unsigned()) {
                throw ToolError(where + ": must be true or false");
            }
            return Integer<uint32_t>(value, where);
    }
    return 0;
}

// The values of one entry, and where in them lie the ids of the entries they point to.
struct EntryValues {
    explicit EntryValues(uint8_t alignment) : bytes(alignment) {}

    void Pointer(uint32_t id) {
        pointers.push_back(static_cast<uint32_t>(bytes.Size()));
        bytes.Slot(id, 4);
    }

    binwriter::ByteWriter bytes;
    std::vector<uint32_t> pointers;
};

// Encoding: the writer of one entry's values, and the builder that takes the entries its
// strings and arrays point to.
class Encoder {
public:
    explicit Encoder(binwriter::TuningBinaryBuilder& builder) : m_builder(builder) {}

    void Structure(const StructDescriptor& type, const Json& values, EntryValues& out,
                   const std::string& where) {
        if (!values.is_object() && !values.is_null()) {
            throw ToolError(where + ": must be an object");
        }
        for (auto it = values.begin(); values.is_object() && it != values.end(); ++it) {
            if (FindField(type, it.key()) == nullptr) {
                throw ToolError(where + "." + it.key() + ": no such field in " + type.name);
            }
        }
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const FieldDescriptor& field = type.fields[i];
            if (field.kind == FieldKind::Memory) {
                continue;
            }
            const bool given = values.is_object() && values.contains(field.name);
            Field(field, type, given ? values[field.name] : Json(nullptr), out,
                  where + "." + field.name);
        }
    }

private:
    static const FieldDescriptor* FindField(const StructDescriptor& type, const std::string& name) {
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            if (type.fields[i].kind != FieldKind::Memory && name == type.fields[i].name) {
                return &type.fields[i];
            }
        }
        return nullptr;
    }

    static std::string At(const std::string& where, size_t index) {
        return where + "[" + std::to_string(index) + "]";
    }

    void Field(const FieldDescriptor& field, const StructDescriptor& owner, const Json& value,
               EntryValues& out, const std::string& where) {
        switch (field.kind) {
            case FieldKind::Inline:
                if (field.dimCount == 0 && field.count == 1) {
                    Element(field.element, value, out, where);
                    break;
                }
                FixedArray(field, value, where);
                for (uint32_t i = 0; i < field.count; ++i) {
                    Element(field.element, value.is_null() ? value : value[i], out, At(where, i));
                }
                break;
            case FieldKind::ScalarBlock: {
                FixedArray(field, value, where);
                binwriter::ByteWriter block;
                for (uint32_t i = 0; i < field.count; ++i) {
                    block.Word(Bits(field.element, value.is_null() ? value : value[i],
                                    At(where, i)),
                               WidthOf(field.element.scalar));
                }
                out.bytes.Block(block.Bytes());
                break;
            }
            case FieldKind::String: Text(value, out, where); break;
            case FieldKind::Counted: Counted(field, owner, value, out, where); break;
            case FieldKind::Optional: {
                EntryValues child(out.bytes.Alignment());
                if (!value.is_null()) {
                    Element(field.element, value, child, where);
                }
                out.bytes.Slot(value.is_null() ? 0 : 1, 4);
                out.Pointer(m_builder.AddSharedTarget(child.bytes.Release(), std::nullopt,
                                                      std::move(child.pointers)));
                break;
            }
            case FieldKind::Memory: break;
        }
    }

    static void FixedArray(const FieldDescriptor& field, const Json& value,
                           const std::string& where) {
        if (!value.is_null() && (!value.is_array() || value.size() != field.count)) {
            throw ToolError(where + ": must be an array of " + std::to_string(field.count) +
                            " values");
        }
    }

    void Counted(const FieldDescriptor& field, const StructDescriptor& owner, const Json& value,
                 EntryValues& out, const std::string& where) {
        if (!value.is_null() && !value.is_array()) {
            throw ToolError(where + ": must be an array");
        }
        const Json& elements = value.is_array() ? value : Json::array();
        EntryValues child(out.bytes.Alignment());
        std::optional<std::string> site;
        if (field.element.kind == ElementKind::Scalar) {
            binwriter::ByteWriter block;
            for (size_t i = 0; i < elements.size(); ++i) {
                block.Word(Bits(field.element, elements[i], At(where, i)),
                           WidthOf(field.element.scalar));
            }
            child.bytes.Block(block.Bytes());
        } else {
            for (size_t i = 0; i < elements.size(); ++i) {
                Element(field.element, elements[i], child, At(where, i));
            }
            site = std::string(owner.siteSource) + "#" + std::to_string(field.site);
        }
        out.bytes.Slot(elements.size(), 4);
        out.Pointer(m_builder.AddSharedTarget(child.bytes.Release(), site,
                                              std::move(child.pointers)));
    }

    void Text(const Json& value, EntryValues& out, const std::string& where) {
        const std::string text = value.is_null() ? std::string() : JsonText(value, where);
        std::vector<uint8_t> stored(text.begin(), text.end());
        stored.push_back(0);
        out.bytes.Slot(stored.size(), 4);
        out.Pointer(m_builder.AddSharedTarget(std::move(stored), std::string(kTextSite)));
    }

    void Element(const ElementType& element, const Json& value, EntryValues& out,
                 const std::string& where) {
        switch (element.kind) {
            case ElementKind::Scalar:
            case ElementKind::Enum:
                out.bytes.Slot(Bits(element, value, where),
                               element.kind == ElementKind::Enum ? 4 : WidthOf(element.scalar));
                break;
            case ElementKind::Struct: Structure(*element.structType, value, out, where); break;
            case ElementKind::String: Text(value, out, where); break;
        }
    }

    static uint64_t Bits(const ElementType& element, const Json& value,
                         const std::string& where) {
        return value.is_null() ? 0 : ElementBits(element, value, where, false);
    }

    binwriter::TuningBinaryBuilder& m_builder;
};

}  // namespace

Json DecodeStructure(const StructDescriptor& type, const void* pStructure) {
    auto* pBase = static_cast<const unsigned char*>(pStructure);
    Json values = Json::object();
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        if (type.fields[i].kind != FieldKind::Memory) {
            values[type.fields[i].name] = DecodeField(type.fields[i], pBase);
        }
    }
    return values;
}

std::vector<uint8_t> EncodeStructure(const StructDescriptor& type, const Json& values,
                                     binwriter::TuningBinaryBuilder& builder,
                                     const std::string& where) {
    EntryValues out(builder.Alignment());
    Encoder(builder).Structure(type, values, out, where);
    return out.bytes.Release();
}

uint64_t ElementBits(const ElementType& element, const Json& value, const std::string& where,
                     bool strictEnums) {
    if (element.kind != ElementKind::Enum) {
        return ScalarBits(element, value, where);
    }
    const uint64_t number = Integer<uint32_t>(value, where);
    if (!InEnum(*element.enumType, number) && (strictEnums || number != 0)) {
        throw ToolError(where + ": " + std::to_string(number) + " is not a value of " +
                        element.enumType->name);
    }
    return number;
}

}  // namespace zyratune
