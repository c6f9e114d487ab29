#include "json_codec.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "binwriter/byte_writer.h"
#include "parser/engine/field_memory.h"
#include "tool_error.h"

namespace zyratune {
namespace {

using namespace ParameterEngine;
using json = nlohmann::ordered_json;

template <typename T>
T Load(const unsigned char* pMember) {
    T value;
    std::memcpy(&value, pMember, sizeof(T));
    return value;
}

// The shortest text that reads back as the same float, so that 0.1f shows as 0.1.
json FloatJson(float value) {
    char text[32];
    std::to_chars_result result = std::to_chars(text, text + sizeof(text), value);
    *result.ptr = '\0';
    return json(std::strtod(text, nullptr));
}

json DecodeScalar(const ElementType& element, const unsigned char* pMember) {
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
        case ScalarType::Double: return Load<double>(pMember);
        case ScalarType::Boolean: return Load<uint32_t>(pMember) != 0;
    }
    return nullptr;
}

json DecodeElement(const ElementType& element, const unsigned char* pMember) {
    switch (element.kind) {
        case ElementKind::Scalar: return DecodeScalar(element, pMember);
        case ElementKind::Enum: return Load<uint32_t>(pMember);
        case ElementKind::Struct: return DecodeStructure(*element.structType, pMember);
        case ElementKind::String: {
            auto* pText = static_cast<const char*>(GetPointer(pMember, 0));
            return pText != nullptr ? pText : "";
        }
    }
    return nullptr;
}

json DecodeArray(const ElementType& element, const unsigned char* pFirst, uint32_t count) {
    json array = json::array();
    for (uint32_t i = 0; i < count; ++i) {
        array.push_back(DecodeElement(element, pFirst + uint64_t{i} * ElementSize(element)));
    }
    return array;
}

json DecodeField(const FieldDescriptor& field, const unsigned char* pBase) {
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
                       : json(nullptr);
        case FieldKind::Memory: break;
    }
    return nullptr;
}

// Encoding: the writer of one entry's values, and the builder that takes the entries its
// strings and arrays point to.
class Encoder {
public:
    Encoder(binwriter::TuningBinaryBuilder& builder, std::string where)
        : m_builder(builder), m_where(std::move(where)) {}

    void Structure(const StructDescriptor& type, const json& values,
                   binwriter::ByteWriter& out, const std::string& path) {
        if (!values.is_object() && !values.is_null()) {
            Fail(path, "an object");
        }
        for (auto it = values.begin(); values.is_object() && it != values.end(); ++it) {
            if (FindField(type, it.key()) == nullptr) {
                throw ToolError(m_where + ": " + type.name + " has no field " +
                                Join(path, it.key()));
            }
        }
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const FieldDescriptor& field = type.fields[i];
            if (field.kind == FieldKind::Memory) {
                continue;
            }
            json value = values.is_object() && values.contains(field.name) ? values[field.name]
                                                                            : json(nullptr);
            Field(field, value, out, Join(path, field.name));
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

    static std::string Join(const std::string& path, const std::string& name) {
        return path.empty() ? name : path + "." + name;
    }

    [[noreturn]] void Fail(const std::string& path, const char* pWanted) const {
        throw ToolError(m_where + ": " + (path.empty() ? "values" : path) + " must be " + pWanted);
    }

    void Field(const FieldDescriptor& field, const json& value, binwriter::ByteWriter& out,
               const std::string& path) {
        switch (field.kind) {
            case FieldKind::Inline:
                if (field.dimCount == 0 && field.count == 1) {
                    Element(field.element, value, out, path);
                } else {
                    for (const json& element : FixedArray(field, value, path)) {
                        Element(field.element, element, out, path);
                    }
                }
                break;
            case FieldKind::ScalarBlock: {
                binwriter::ByteWriter block;
                for (const json& element : FixedArray(field, value, path)) {
                    block.Word(ScalarBits(field.element, element, path),
                               WidthOf(field.element.scalar));
                }
                out.Block(block.Bytes());
                break;
            }
            case FieldKind::String: Text(value, out, path); break;
            case FieldKind::Counted: Counted(field, value, out, path); break;
            case FieldKind::Optional: {
                binwriter::ByteWriter child(out.Alignment());
                if (!value.is_null()) {
                    Element(field.element, value, child, path);
                }
                out.Slot(value.is_null() ? 0 : 1, 4);
                out.Slot(m_builder.AddPointerTarget(child.Release()), 4);
                break;
            }
            case FieldKind::Memory: break;
        }
    }

    std::vector<json> FixedArray(const FieldDescriptor& field, const json& value,
                                 const std::string& path) {
        if (value.is_null()) {
            return std::vector<json>(field.count, json(nullptr));
        }
        if (!value.is_array() || value.size() != field.count) {
            Fail(path, ("an array of " + std::to_string(field.count) + " values").c_str());
        }
        return value.get<std::vector<json>>();
    }

    void Counted(const FieldDescriptor& field, const json& value, binwriter::ByteWriter& out,
                 const std::string& path) {
        if (!value.is_null() && !value.is_array()) {
            Fail(path, "an array");
        }
        binwriter::ByteWriter child(out.Alignment());
        if (field.element.kind == ElementKind::Scalar) {
            binwriter::ByteWriter block;
            for (const json& element : value.is_array() ? value : json::array()) {
                block.Word(ScalarBits(field.element, element, path), WidthOf(field.element.scalar));
            }
            child.Block(block.Bytes());
        } else {
            for (const json& element : value.is_array() ? value : json::array()) {
                Element(field.element, element, child, path);
            }
        }
        out.Slot(value.is_array() ? value.size() : 0, 4);
        out.Slot(m_builder.AddPointerTarget(child.Release()), 4);
    }

    void Text(const json& value, binwriter::ByteWriter& out, const std::string& path) {
        if (!value.is_null() && !value.is_string()) {
            Fail(path, "a string");
        }
        std::string text = value.is_string() ? value.get<std::string>() : std::string();
        std::vector<uint8_t> stored(text.begin(), text.end());
        stored.push_back(0);
        out.Slot(stored.size(), 4);
        out.Slot(m_builder.AddPointerTarget(std::move(stored)), 4);
    }

    void Element(const ElementType& element, const json& value, binwriter::ByteWriter& out,
                 const std::string& path) {
        switch (element.kind) {
            case ElementKind::Scalar:
                out.Slot(ScalarBits(element, value, path), WidthOf(element.scalar));
                break;
            case ElementKind::Enum:
                out.Slot(Integer<uint32_t>(value, path), 4);
                break;
            case ElementKind::Struct: Structure(*element.structType, value, out, path); break;
            case ElementKind::String: Text(value, out, path); break;
        }
    }

    template <typename T>
    uint64_t Integer(const json& value, const std::string& path) {
        if (value.is_null()) {
            return 0;
        }
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
        Fail(path, "an integer in range");
    }

    template <typename T>
    uint64_t Real(const json& value, const std::string& path) {
        if (value.is_null()) {
            return 0;
        }
        if (!value.is_number()) {
            Fail(path, "a number");
        }
        return binwriter::ToBits(static_cast<T>(value.get<double>()));
    }

    uint64_t ScalarBits(const ElementType& element, const json& value, const std::string& path) {
        if (element.heldAsFloat) {
            return Real<float>(value, path);
        }
        switch (element.scalar) {
            case ScalarType::UInt8: return Integer<uint8_t>(value, path);
            case ScalarType::UInt16: return Integer<uint16_t>(value, path);
            case ScalarType::UInt32: return Integer<uint32_t>(value, path);
            case ScalarType::Int32: return Integer<int32_t>(value, path);
            case ScalarType::UInt64: return Integer<uint64_t>(value, path);
            case ScalarType::Int64: return Integer<int64_t>(value, path);
            case ScalarType::Float: return Real<float>(value, path);
            case ScalarType::Double: return Real<double>(value, path);
            case ScalarType::Boolean:
                if (value.is_null()) return 0;
                if (!value.is_boolean()) Fail(path, "true or false");
                return value.get<bool>() ? 1 : 0;
        }
        return 0;
    }

    binwriter::TuningBinaryBuilder& m_builder;
    std::string m_where;
};

}  // namespace

nlohmann::ordered_json DecodeStructure(const StructDescriptor& type, const void* pStructure) {
    auto* pBase = static_cast<const unsigned char*>(pStructure);
    json values = json::object();
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        if (type.fields[i].kind != FieldKind::Memory) {
            values[type.fields[i].name] = DecodeField(type.fields[i], pBase);
        }
    }
    return values;
}

std::vector<uint8_t> EncodeStructure(const StructDescriptor& type,
                                     const nlohmann::ordered_json& values,
                                     binwriter::TuningBinaryBuilder& builder,
                                     const std::string& where) {
    binwriter::ByteWriter out(builder.Alignment());
    Encoder(builder, where).Structure(type, values, out, "");
    return out.Release();
}

}  // namespace zyratune
