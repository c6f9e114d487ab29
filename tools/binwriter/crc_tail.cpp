#include "binwriter/crc_tail.h"

#include <stdexcept>

#include "binwriter/byte_writer.h"
#include "binwriter/format_rules.h"
#include "parser/file/crc32.h"

namespace binwriter {

void AppendCrcTail(std::vector<uint8_t>& binary) {
    ByteWriter tail;
    tail.Word(ParameterCrc32::Compute(binary.data(), binary.size()), kCrcTailSize);
    binary.insert(binary.end(), tail.Bytes().begin(), tail.Bytes().end());
}

void RewriteCrcTail(std::vector<uint8_t>& binary) {
    if (binary.size() < kCrcTailSize) {
        throw std::invalid_argument("a binary shorter than its CRC tail has no tail to rewrite");
    }
    binary.resize(binary.size() - kCrcTailSize);
    AppendCrcTail(binary);
}

}  // namespace binwriter
