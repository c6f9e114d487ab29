#include "binwriter/byte_writer.h"

#include <algorithm>
#include <stdexcept>

namespace binwriter {

size_t RoundUp(size_t value, size_t step) {
    return step > 1 ? (value + step - 1) / step * step : value;
}

void ByteWriter::Word(uint64_t bits, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        m_bytes.push_back(i < sizeof(bits) ? static_cast<uint8_t>(bits >> (8 * i)) : 0);
    }
}

void ByteWriter::Slot(uint64_t bits, size_t width) {
    Word(bits, width);
    m_bytes.resize(m_bytes.size() + std::max<size_t>(width, m_alignment) - width, 0);
}

void ByteWriter::Text(const std::string& text, size_t width) {
    if (text.size() > width) {
        throw std::invalid_argument("text \"" + text + "\" is longer than its field of " +
                                    std::to_string(width) + " bytes");
    }
    m_bytes.insert(m_bytes.end(), text.begin(), text.end());
    m_bytes.resize(m_bytes.size() + width - text.size(), 0);
}

void ByteWriter::Block(const std::vector<uint8_t>& bytes) {
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    m_bytes.resize(m_bytes.size() + RoundUp(bytes.size(), m_alignment) - bytes.size(), 0);
}

void ByteWriter::Raw(const std::vector<uint8_t>& bytes) {
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

void ByteWriter::PadTo(size_t size) { m_bytes.resize(std::max(size, m_bytes.size()), 0); }

void ByteWriter::PadToAlignment() { PadTo(RoundUp(m_bytes.size(), m_alignment)); }

}  // namespace binwriter
