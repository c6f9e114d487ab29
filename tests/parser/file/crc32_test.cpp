// The CRC-32 against known values, and the processor's fast way against table slicing over
// seeded random lengths and start addresses.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "parser/file/crc32.h"

namespace {

uint32_t CrcOfText(const std::string& text) {
    return ParameterCrc32::Compute(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

// One bit at a time, straight from the polynomial.
uint32_t BitwiseCrc(const uint8_t* pData, size_t length) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < length; ++i) {
        crc ^= pData[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ ParameterCrc32::kPolynomial : crc >> 1;
        }
    }
    return ~crc;
}

TEST(Crc32, KnownValues) {
    EXPECT_EQ(CrcOfText(""), 0x00000000u);
    EXPECT_EQ(CrcOfText("123456789"), 0xCBF43926u);
    EXPECT_EQ(CrcOfText("The quick brown fox jumps over the lazy dog"), 0x414FA339u);
}

TEST(Crc32, FastWayMatchesSlicingAtAnyLengthAndAlignment) {
    std::mt19937 random(20240611u);
    std::vector<uint8_t> buffer(1u << 17);
    for (uint8_t& byte : buffer) {
        byte = static_cast<uint8_t>(random());
    }
    for (int round = 0; round < 3000; ++round) {
        const size_t offset = random() % 64;
        // Mostly short lengths around the block sizes, now and then a long one.
        const size_t limit = round % 10 == 0 ? buffer.size() - offset : 512;
        const size_t length = random() % (limit + 1);
        const uint8_t* pData = buffer.data() + offset;
        ASSERT_EQ(ParameterCrc32::Compute(pData, length),
                  ParameterCrc32::ComputeBySlicing(pData, length))
            << "offset " << offset << ", length " << length;
    }
    EXPECT_EQ(ParameterCrc32::Compute(buffer.data() + 3, buffer.size() - 3),
              BitwiseCrc(buffer.data() + 3, buffer.size() - 3));
}

}  // namespace
