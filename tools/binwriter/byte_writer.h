// Appends little-endian values to a byte buffer, either at their own width or in slots of
// max(width, alignment) bytes, the way binaries lay out everything below the header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace binwriter {

// The bits of an integer or floating-point value, zero-extended to 64 bits.
template <typename T>
uint64_t ToBits(T value) {
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, "numbers only");
    if constexpr (std::is_floating_point_v<T>) {
        static_assert(sizeof(T) == 4 || sizeof(T) == 8, "float or double");
        using Bits = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;
        Bits bits;
        std::memcpy(&bits, &value, sizeof(bits));
        return bits;
    } else {
        return static_cast<uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
    }
}

class ByteWriter {
public:
    explicit ByteWriter(uint8_t alignment = 1) : m_alignment(alignment) {}

    uint8_t Alignment() const { return m_alignment; }
    size_t Size() const { return m_bytes.size(); }
    const std::vector<uint8_t>& Bytes() const { return m_bytes; }
    std::vector<uint8_t> Release() { return std::move(m_bytes); }

    // The low `width` bytes of `bits`, with no padding.
    void Word(uint64_t bits, size_t width);
    // The low `width` bytes of `bits`, zero-padded to max(width, alignment).
    void Slot(uint64_t bits, size_t width);
    // A text field of fixed width, zero-padded; a text that does not fit is refused.
    void Text(const std::string& text, size_t width);
    // Bytes as they are, then zeros up to a multiple of the alignment.
    void Block(const std::vector<uint8_t>& bytes);
    // Bytes as they are.
    void Raw(const std::vector<uint8_t>& bytes);
    // Zeros until the buffer holds at least `size` bytes.
    void PadTo(size_t size);
    // Zeros until the size is a multiple of the alignment.
    void PadToAlignment();

private:
    uint8_t m_alignment;
    std::vector<uint8_t> m_bytes;
};

// `value` rounded up to a multiple of `step`; a step of 0 or 1 leaves it.
size_t RoundUp(size_t value, size_t step);

}  // namespace binwriter
