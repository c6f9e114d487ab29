// The live tuning packet layer framing a client's byte stream, arriving in chunks of one
// size, into requests; the same calls the read thread makes, on the fuzzer's thread.
//   byte 0: highest command accepted; byte 1: chunk size (0: the whole stream at once);
//   byte 2: room for one request (below 128: one byte more, else the largest packet);
//   the rest: the stream.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_set_manager.h"
#include "parser/livetuning/dialin_protocol.h"
#include "parser/livetuning/parameter_dialin_com_base.h"

namespace {

constexpr size_t kSettingsSize = 3;

// Hands out the stream chunk by chunk, then raises the stop flag as a closed connection would.
class StreamCom : public ParameterDialinComBase {
public:
    StreamCom(IParameterLoggingAPI* pLogging, const uint8_t* pData, size_t size, size_t chunk)
        : ParameterDialinComBase(pLogging), m_pData(pData), m_size(size), m_chunk(chunk) {}

    unsigned short StartCom() override { return 0; }
    void StopCom() override {}
    int ReadData(unsigned char* pBuffer, unsigned int length, int, const std::atomic<bool>&) override {
        const size_t count = std::min({m_size - m_offset, m_chunk, static_cast<size_t>(length)});
        if (count == 0) {
            Stop = true;
            return -1;
        }
        std::copy(m_pData + m_offset, m_pData + m_offset + count, pBuffer);
        m_offset += count;
        return static_cast<int>(count);
    }
    int WriteData(unsigned char*, unsigned int length) override { return static_cast<int>(length); }

    std::atomic<bool> Stop{false};

private:
    const uint8_t* m_pData;
    size_t m_size;
    size_t m_chunk;
    size_t m_offset = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    if (size < kSettingsSize) {
        return 0;
    }
    zyra_fuzz::DropLogLines();
    const auto commandLimit = static_cast<unsigned char>(pData[0]);
    const size_t chunk = pData[1] == 0 ? size : pData[1];
    const unsigned int room = pData[2] < 128 ? pData[2] + 1u : DialinProtocol::kMaxSize;
    // A set manager for the identifier the packet layer logs under.
    zyra_fuzz::FuzzSetManager logging(false);
    StreamCom com(&logging, pData + kSettingsSize, size - kSettingsSize, chunk);
    std::vector<unsigned char> request(room);
    // Each framed request takes bytes from the buffer, so the loop ends with the stream.
    while (com.ReceiveDialinRequest(request.data(), room, commandLimit, -1, com.Stop) > 0) {
    }
    return 0;
}
