#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "../parser_messages.h"
#include "log_capture.h"
#include "parser/file/parameter_binary_file.h"
#include "temp_dir.h"
#include "zyra/memory.h"

namespace {

using parser_test::CountLogged;
using parser_test::ParserMessages;

std::string WithCrc(const std::string& payload) {
    uint32_t crc = ParameterCrc32::Compute(reinterpret_cast<const uint8_t*>(payload.data()),
                                           payload.size());
    std::string bytes = payload;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>(crc >> shift));
    }
    return bytes;
}

// Makes the first `failures` stream reads come back short.
class FlakyBinaryFile : public ParameterBinaryFile {
public:
    FlakyBinaryFile(const char* pFileName, int failures)
        : ParameterBinaryFile(pFileName, nullptr, false) {
        s_failuresLeft = failures;
        m_pReadStream = &FailingRead;
    }

private:
    static size_t FailingRead(void* pDest, size_t size, size_t count, FILE* pFile) {
        if (s_failuresLeft > 0) {
            --s_failuresLeft;
            return 0;
        }
        return std::fread(pDest, size, count, pFile);
    }
    static int s_failuresLeft;
};
int FlakyBinaryFile::s_failuresLeft = 0;

class ParameterBinaryFileTest : public ::testing::Test {
protected:
    zyra_test::TempDir m_dir;
    std::string m_payload = "0123456789abcdefghij";
    std::string m_path = m_dir.Write("tuning.bin", WithCrc(m_payload));
};

TEST_F(ParameterBinaryFileTest, ReadsInRangeAndRefusesEverythingElseWithoutReading) {
    ParameterBinaryFile file(m_path.c_str(), nullptr, true);
    EXPECT_TRUE(file.IsOpened());
    EXPECT_TRUE(file.IsCrcValid());
    EXPECT_EQ(file.FileSize(), m_payload.size() + 4);
    EXPECT_EQ(file.Reference(0), 1);

    unsigned char value[3] = {};
    unsigned int position = 2;
    EXPECT_TRUE(file.Read(value, 10, &position, 3, 8));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(value), 3), "cde");
    EXPECT_EQ(position, 10u);
    unsigned char* pData = file.Read(20, 4);
    ASSERT_NE(pData, nullptr);
    EXPECT_EQ(std::memcmp(pData, WithCrc(m_payload).data() + 20, 4), 0);
    ZyraFree(pData);

    zyra_test::LogCapture capture;
    EXPECT_FALSE(file.Read(nullptr, 0, &position, 1, 1));
    EXPECT_FALSE(file.Read(value, 0, nullptr, 1, 1));
    position = 3;
    EXPECT_FALSE(file.Read(value, 20, &position, 2, 1));
    EXPECT_EQ(position, 3u);
    EXPECT_EQ(file.Read(0, 0), nullptr);
    EXPECT_EQ(file.Read(0, ~0ul), nullptr);
    Zyra::Memory::FailNthAllocation(1);
    EXPECT_EQ(file.Read(0, 4), nullptr);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "ParameterBinaryFile::Read"), 6);
    EXPECT_EQ(CountLogged(capture, "[ERROR]",
                          "read past the end of the file, offset: 20, pos: 3, count: 2, "
                          "length: 24"),
              1);
}

TEST_F(ParameterBinaryFileTest, RefusesMissingOverlongAndTooShortFiles) {
    zyra_test::LogCapture capture;
    ParameterBinaryFile unnamed(nullptr, nullptr, true);
    EXPECT_FALSE(unnamed.IsOpened());
    std::string tooLong(1023, 'n');
    ParameterBinaryFile overlong(tooLong.c_str(), nullptr, true);
    EXPECT_STREQ(overlong.FileName(), "");
    // 1022 characters in short components, so that opening fails for the missing folder.
    std::string longest = m_dir.Path() + "/";
    while (longest.size() + 51 < 1022) {
        longest += std::string(50, 'n') + "/";
    }
    longest += std::string(1022 - longest.size(), 'n');
    ParameterBinaryFile missing(longest.c_str(), nullptr, true);
    EXPECT_EQ(missing.FileName(), longest);
    EXPECT_FALSE(missing.IsOpened());
    EXPECT_FALSE(missing.IsCrcValid());
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "file name length (1023) exceeds max length"), 1);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Failed to open binary file '" + longest + "'"), 1);

    ParameterBinaryFile tiny(m_dir.Write("tiny.bin", "abcd").c_str(), nullptr, true);
    EXPECT_TRUE(tiny.IsOpened());
    EXPECT_FALSE(tiny.IsCrcValid());
    ParameterBinaryFile corrupt(m_dir.Write("bad.bin", "abcdefgh").c_str(), nullptr, true);
    EXPECT_FALSE(corrupt.IsCrcValid());
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "CRC validation failed. Buffer too small"), 1);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "CRC validation failed. Expected: "), 1);
}

// Files around the size of the check's read buffer: whole, with the stored CRC beyond the
// last piece, and over several pieces; a flipped byte anywhere, stored CRC included, fails.
TEST_F(ParameterBinaryFileTest, ChecksTheCrcOfLargeFilesPieceByPiece) {
    const unsigned int piece = ParameterBinaryFile::kCrcPieceBytes;
    uint32_t seed = 20261125;
    for (unsigned int fileSize : {piece, piece + 1, piece + 4, 2 * piece + 7}) {
        std::string payload(fileSize - 4, '\0');
        for (char& byte : payload) {
            seed = seed * 1103515245u + 12345u;
            byte = static_cast<char>(seed >> 24);
        }
        std::string bytes = WithCrc(payload);
        const ParameterBinaryFile good(m_dir.Write("large.bin", bytes).c_str(), nullptr, true);
        EXPECT_TRUE(good.IsCrcValid()) << fileSize;
        seed = seed * 1103515245u + 12345u;
        bytes[seed % fileSize] ^= 0x10;
        const ParameterBinaryFile bad(m_dir.Write("large.bin", bytes).c_str(), nullptr, true);
        EXPECT_FALSE(bad.IsCrcValid()) << fileSize << " flipped at " << seed % fileSize;
    }
}

TEST_F(ParameterBinaryFileTest, RetriesAFailedStreamReadByReopening) {
    zyra_test::LogCapture capture;
    FlakyBinaryFile onceFlaky(m_path.c_str(), 1);
    unsigned char value[4] = {};
    unsigned int position = 0;
    EXPECT_TRUE(onceFlaky.Read(value, 4, &position, 4, 1));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(value), 4), "4567");
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Read failed, retrying"), 1);

    capture.Clear();
    FlakyBinaryFile broken(m_path.c_str(), 4);
    EXPECT_FALSE(broken.Read(value, 4, &position, 4, 1));
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(CountLogged(capture, "[ERROR]", "Read failed, retrying"), 3);
    // The stream was reopened in between and serves the next read.
    EXPECT_TRUE(broken.Read(value, 0, &position, 4, 1));
}

TEST_F(ParameterBinaryFileTest, ReferencesOpenAndCloseTheStreamAndSurviveAVanishedFile) {
    zyra_test::LogCapture capture;
    {
        ParameterBinaryFile file(m_path.c_str(), nullptr, false);
        EXPECT_EQ(file.Reference(1), 2);
        EXPECT_EQ(file.Reference(-5), 0);
        // A closed file stays closed when asked for its count.
        capture.Clear();
        EXPECT_EQ(file.Reference(0), 0);
        EXPECT_TRUE(capture.Lines().empty());
        EXPECT_EQ(file.Reference(-1), 0);
        ASSERT_EQ(unlink(m_path.c_str()), 0);
        EXPECT_EQ(file.Reference(2), 2);
        EXPECT_EQ(ParserMessages(capture),
                  (std::vector<std::string>{
                      "[ERROR] FileReference Remove: -1, Ref Cnt: 0, Called when file was "
                      "already closed\n",
                      "[DEBUG] FileReference Adjust: 2, RefCount: 0, opening the file\n",
                      "[ERROR] FileReference Adjust: 2, RefCount: 0, Failed to open binary file '" +
                          m_path + "' errno: 2\n"}));
        unsigned char value[1];
        unsigned int position = 0;
        EXPECT_FALSE(file.Read(value, 0, &position, 1, 1));
        capture.Clear();
    }
    EXPECT_EQ(ParserMessages(capture),
              (std::vector<std::string>{
                  "[ERROR] ParameterBinaryFile deleted with outstanding references: 2\n",
                  "[ERROR] FileReference Remove: -2, Ref Cnt: 2, Called when file was already "
                  "closed\n"}));
}

}  // namespace
