// Byte sequences written out field by field in tests, and reading numbers back out of a
// built binary, kept apart from the writer under test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace binwriter_test {

// Section type numbers of the container, written out here rather than taken from the writer.
constexpr uint32_t kSymbolTable = 0;
constexpr uint32_t kDataBlock = 1;

class Expected {
public:
    Expected& Le(uint64_t value, size_t width) {
        for (size_t i = 0; i < width; ++i) {
            m_bytes.push_back(i < 8 ? static_cast<uint8_t>(value >> (8 * i)) : 0);
        }
        return *this;
    }
    Expected& Zeros(size_t count) { return Le(0, count); }
    Expected& Text(const std::string& text, size_t width) {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return Zeros(width - text.size());
    }
    const std::vector<uint8_t>& Bytes() const { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
};

inline uint64_t ReadLe(const std::vector<uint8_t>& bytes, size_t offset, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value |= static_cast<uint64_t>(bytes.at(offset + i)) << (8 * i);
    }
    return value;
}

inline std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, size_t offset,
                                  size_t count) {
    if (offset + count > bytes.size()) {
        return {};
    }
    return {bytes.begin() + static_cast<std::ptrdiff_t>(offset),
            bytes.begin() + static_cast<std::ptrdiff_t>(offset + count)};
}

struct Section {
    uint32_t type;
    uint32_t offset;
    uint32_t size;
};

// The section table of a binary whose header says it starts at `tableOffset`, words taking
// `wordWidth` bytes each.
inline std::vector<Section> ReadSections(const std::vector<uint8_t>& binary, size_t tableOffset,
                                         size_t count, size_t wordWidth) {
    std::vector<Section> sections;
    for (size_t row = 0; row < count; ++row) {
        size_t at = tableOffset + row * 3 * wordWidth;
        sections.push_back({static_cast<uint32_t>(ReadLe(binary, at, 4)),
                            static_cast<uint32_t>(ReadLe(binary, at + wordWidth, 4)),
                            static_cast<uint32_t>(ReadLe(binary, at + 2 * wordWidth, 4))});
    }
    return sections;
}

}  // namespace binwriter_test
