// A tuning binary read through a stdio stream that is open only while references are held,
// so that many set managers do not each keep a descriptor. Reads seek and read as one step
// under the file's lock, retry on a failing stream, and are refused for good once the file's
// time of modification has changed, until Reload.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "parser/file/crc32.h"
#include "parser/foundation/parameter_mutex.h"
#include "zyra_api.h"

class IParameterLoggingAPI;

class ZYRA_API ParameterBinaryFile {
public:
    // Takes the first reference, which opens the file, and checks the CRC when asked to.
    ParameterBinaryFile(const char* pFileName, IParameterLoggingAPI* pLogging, bool validateCRC);
    ~ParameterBinaryFile();
    ParameterBinaryFile(const ParameterBinaryFile&) = delete;
    ParameterBinaryFile& operator=(const ParameterBinaryFile&) = delete;

    void Open(bool logFailure);
    void Close();

    // Reads `count` bytes at `offset + *pPosition` into `pValue` and moves the position by
    // `count` rounded up to a multiple of `alignment`.
    bool Read(unsigned char* pValue, unsigned int offset, unsigned int* pPosition,
              unsigned long count, unsigned char alignment);
    // `count` bytes at `offset` in memory from ZyraCalloc, which the caller frees with
    // ZyraFree; null on failure.
    unsigned char* Read(unsigned int offset, unsigned long count);

    // Adds `adjust` to the references: the first opens the stream, the last closes it.
    int Reference(int adjust);

    // Whether the last four bytes hold, little-endian, the CRC-32 of all bytes before them.
    static bool ValidateCRC(unsigned char* pBuffer, unsigned int length,
                            IParameterLoggingAPI* pLogging);
    // The same check on the file as it is now, read piece by piece through one buffer of at
    // most kCrcPieceBytes, so that a large file costs no allocation of its size. Sets and
    // returns IsCrcValid.
    bool ValidateCRC();
    static constexpr unsigned int kCrcPieceBytes = 1u << 20;

    // Starts over on the file as it is now: forgets references and the modified state,
    // checks the CRC and leaves the stream closed. Returns whether the CRC is good.
    bool Reload();

    bool IsOpened() const { return m_isOpened; }
    bool IsCrcValid() const { return m_crcValid; }
    bool IsModified() const { return m_modified; }
    unsigned int FileSize() const { return m_fileSize; }
    const char* FileName() const { return m_fileName; }

    static constexpr const std::array<uint32_t, 256>& m_crcLookupTable =
        ParameterCrc32::kLookupTable;

protected:
    // The stream read of one attempt. Tests put in a failing one to reach the retries.
    using StreamReader = size_t (*)(void* pDest, size_t size, size_t count, FILE* pFile);
    StreamReader m_pReadStream;

private:
    // The checks every read makes first; each logs why it refuses.
    bool HasStream();
    bool IsWithinFile(unsigned int offset, unsigned int position, unsigned long count);
    // One seek and read of the stream; logs what failed.
    bool ReadAttempt(unsigned char* pValue, unsigned int offset, unsigned int position,
                     unsigned long count);
    // CRC of the first `length` bytes of the file, read through `pPiece` of `pieceBytes`, which
    // holds the first piece already.
    bool ComputeFileCrc(unsigned char* pPiece, unsigned int pieceBytes, unsigned int length,
                        uint32_t* pCrc);

    FILE* m_pFile = nullptr;
    uint32_t m_fileSize = 0;
    int32_t m_referenceCount = 0;
    char m_fileName[1024] = {};
    bool m_isOpened = false;
    bool m_crcValid = false;
    bool m_modified = false;
    uint64_t m_modifiedTime = 0;
    ParameterMutex m_lock;
    IParameterLoggingAPI* m_pLogging = nullptr;
};
