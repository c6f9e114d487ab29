// Composes the values of a module or of a pointed-to object the way generated loaders read
// them: scalars in slots of max(width, alignment) bytes, fixed arrays as packed blocks,
// strings and counted arrays as a word followed by the id of the entry that holds the rest.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/byte_writer.h"

namespace binwriter {

class TuningBinaryBuilder;

class ValueWriter {
public:
    // Takes the builder's alignment; strings add their text to the builder.
    explicit ValueWriter(TuningBinaryBuilder& builder);

    ValueWriter& U8(uint8_t value) { return Scalar(value); }
    ValueWriter& U16(uint16_t value) { return Scalar(value); }
    ValueWriter& U32(uint32_t value) { return Scalar(value); }
    ValueWriter& U64(uint64_t value) { return Scalar(value); }
    ValueWriter& I8(int8_t value) { return Scalar(value); }
    ValueWriter& I16(int16_t value) { return Scalar(value); }
    ValueWriter& I32(int32_t value) { return Scalar(value); }
    ValueWriter& I64(int64_t value) { return Scalar(value); }
    ValueWriter& Float(float value) { return Scalar(value); }
    ValueWriter& Double(double value) { return Scalar(value); }

    // The id of an entry that holds the pointed-to values; counted arrays and optional
    // elements write their count or exists word first, then this.
    ValueWriter& Pointer(uint32_t entryId) { return U32(entryId); }

    // A length word, then a pointer to a new entry holding the text and its terminating
    // zero; the length counts that zero.
    ValueWriter& String(const std::string& text);

    // A fixed array of scalars: elements packed at their own width, the whole block padded
    // to a multiple of the alignment.
    template <typename T>
    ValueWriter& Packed(const std::vector<T>& values) {
        ByteWriter block;
        for (T value : values) {
            block.Word(ToBits(value), sizeof(T));
        }
        m_writer.Block(block.Bytes());
        return *this;
    }

    const std::vector<uint8_t>& Bytes() const { return m_writer.Bytes(); }

private:
    template <typename T>
    ValueWriter& Scalar(T value) {
        m_writer.Slot(ToBits(value), sizeof(T));
        return *this;
    }

    TuningBinaryBuilder& m_builder;
    ByteWriter m_writer;
};

}  // namespace binwriter
