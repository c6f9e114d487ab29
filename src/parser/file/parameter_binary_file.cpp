#include "parser/file/parameter_binary_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"

namespace {

constexpr size_t kMaxFileNameLength = 1022;
constexpr int kReadAttempts = 4;
// The stored CRC takes four bytes, and at least one byte must be covered by it.
constexpr unsigned int kCrcMinLength = 5;

int32_t SaturatedSum(int32_t count, int adjust) {
    int64_t sum = static_cast<int64_t>(count) + adjust;
    if (sum > INT32_MAX) {
        return INT32_MAX;
    }
    return sum < INT32_MIN ? INT32_MIN : static_cast<int32_t>(sum);
}

size_t ReadStream(void* pDest, size_t size, size_t count, FILE* pFile) {
    return std::fread(pDest, size, count, pFile);
}

}  // namespace

#define LOG_ERROR(...) \
    ParameterLogging::Write(m_pLogging, ParameterLogging::Error, __FILE__, __LINE__, __VA_ARGS__)
#define LOG_DEBUG(...) \
    ParameterLogging::Write(m_pLogging, ParameterLogging::Debug, __FILE__, __LINE__, __VA_ARGS__)

ParameterBinaryFile::ParameterBinaryFile(const char* pFileName, IParameterLoggingAPI* pLogging,
                                         bool validateCRC)
    : m_pReadStream(&ReadStream), m_pLogging(pLogging) {
    if (pFileName == nullptr) {
        LOG_ERROR("ParameterBinaryFile constructor called with null file name\n");
        return;
    }
    size_t length = std::strlen(pFileName);
    if (length > kMaxFileNameLength) {
        LOG_ERROR(
            "ParameterBinaryFile constructor file name length (%lld) exceeds max length: %d\n",
            static_cast<long long>(length), static_cast<int>(kMaxFileNameLength + 1));
        return;
    }
    std::memcpy(m_fileName, pFileName, length + 1);
    Reference(1);
    m_isOpened = m_pFile != nullptr;
    if (m_isOpened && validateCRC) {
        ValidateCRC();
    }
}

ParameterBinaryFile::~ParameterBinaryFile() {
    ParameterMutexLock lock(&m_lock, false);
    if (m_referenceCount > 0) {
        if (m_referenceCount != 1) {
            LOG_ERROR("ParameterBinaryFile deleted with outstanding references: %d\n",
                      m_referenceCount);
        }
        Reference(-m_referenceCount);
    }
    // Open may have been called without a reference.
    Close();
}

void ParameterBinaryFile::Open(bool logFailure) {
    if (m_pFile != nullptr) {
        return;
    }
    m_pFile = std::fopen(m_fileName, "rb");
    if (m_pFile == nullptr) {
        int error = errno;
        if (logFailure) {
            LOG_ERROR("ParameterBinaryFile::Open failed to open file, errno: %d, file name: %s\n",
                      error, m_fileName);
        }
        errno = error;
        return;
    }
    struct stat status;
    if (fstat(fileno(m_pFile), &status) != 0) {
        return;
    }
    // Only the time counts: a rewrite of the same size is a change all the same.
    uint64_t time = static_cast<uint64_t>(status.st_mtime);
    uint32_t size = static_cast<uint32_t>(status.st_size);
    if (m_modifiedTime == 0) {
        m_fileSize = size;
        m_modifiedTime = time;
    }
    if (m_modifiedTime != time) {
        m_modified = true;
        m_fileSize = size;
        m_modifiedTime = time;
        ParameterLogging::Write(m_pLogging, ParameterLogging::Warning, __FILE__, __LINE__,
                                "ParameterBinaryFile::Open, file modified, must reload\n");
    }
}

void ParameterBinaryFile::Close() {
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
    }
}

bool ParameterBinaryFile::HasStream() {
    if (m_pFile == nullptr) {
        LOG_ERROR("ParameterBinaryFile::Read called with null file\n");
        return false;
    }
    return true;
}

bool ParameterBinaryFile::IsWithinFile(unsigned int offset, unsigned int position,
                                       unsigned long count) {
    if (m_fileSize == 0) {
        LOG_ERROR("ParameterBinaryFile::Read called with a zero length file\n");
        return false;
    }
    unsigned int start = offset + position;
    if (count > m_fileSize || start > m_fileSize - count) {
        LOG_ERROR("ParameterBinaryFile::Read attempted to read past the end of the file, offset: "
                  "%u, pos: %u, count: %u, length: %u\n",
                  offset, position, static_cast<unsigned int>(count), m_fileSize);
        return false;
    }
    return true;
}

bool ParameterBinaryFile::ReadAttempt(unsigned char* pValue, unsigned int offset,
                                      unsigned int position, unsigned long count) {
    // A reopen after a failed attempt may have failed too; Open has said why.
    if (m_pFile == nullptr) {
        return false;
    }
    unsigned int start = offset + position;
    int seekResult = std::fseek(m_pFile, static_cast<long>(start), SEEK_SET);
    if (seekResult != 0) {
        LOG_ERROR(
            "ParameterBinaryFile::Read fseek failed, ferror: %d, return value %d, offset: %d\n",
            std::ferror(m_pFile), seekResult, static_cast<int>(start));
        return false;
    }
    size_t actual = m_pReadStream(pValue, 1, count, m_pFile);
    if (actual != count) {
        LOG_ERROR("Read failed to read from file, ferror: %d, offset: %u, pos: %u, requested: "
                  "%lld, actual: %lld\n",
                  std::ferror(m_pFile), offset, position, static_cast<long long>(count),
                  static_cast<long long>(actual));
        return false;
    }
    return true;
}

bool ParameterBinaryFile::Read(unsigned char* pValue, unsigned int offset,
                               unsigned int* pPosition, unsigned long count,
                               unsigned char alignment) {
    ParameterMutexLock lock(&m_lock, false);
    if (!HasStream()) {
        return false;
    }
    if (pValue == nullptr) {
        LOG_ERROR("ParameterBinaryFile::Read called with null value\n");
        return false;
    }
    if (pPosition == nullptr) {
        LOG_ERROR("ParameterBinaryFile::Read called with null pos\n");
        return false;
    }
    if (!IsWithinFile(offset, *pPosition, count) || !m_isOpened || m_modified) {
        return false;
    }
    for (int attempt = 1; !ReadAttempt(pValue, offset, *pPosition, count); ++attempt) {
        if (attempt == kReadAttempts) {
            return false;
        }
        LOG_ERROR("ParameterBinaryFile::Read failed, retrying\n");
        Close();
        Open(true);
        if (m_modified) {
            return false;
        }
    }
    *pPosition += static_cast<unsigned int>(ParameterUtils::AlignUp(count, alignment));
    return !m_modified;
}

unsigned char* ParameterBinaryFile::Read(unsigned int offset, unsigned long count) {
    if (count == 0) {
        LOG_ERROR("ParameterBinaryFile::Read called with 0 count\n");
        return nullptr;
    }
    ParameterMutexLock lock(&m_lock, false);
    if (!m_isOpened || m_modified) {
        return nullptr;
    }
    // Counts come from the binary itself: refuse a bad range before allocating for it.
    if (!HasStream() || !IsWithinFile(offset, 0, count)) {
        return nullptr;
    }
    auto* pData = static_cast<unsigned char*>(ZyraCalloc(count, 1, kParserAllocCategory));
    if (pData == nullptr) {
        LOG_ERROR("ParameterBinaryFile::Read failed, out of memory, errno: %d\n", errno);
        return nullptr;
    }
    unsigned int position = 0;
    if (!Read(pData, offset, &position, count, 1)) {
        ZyraFree(pData);
        return nullptr;
    }
    return pData;
}

int ParameterBinaryFile::Reference(int adjust) {
    ParameterMutexLock lock(&m_lock, false);
    if (adjust > 0) {
        if (m_pFile == nullptr) {
            if (m_referenceCount != 0) {
                LOG_ERROR("FileReference Adjust: %d, RefCount: %d, Binary File was null when file "
                          "reference was %u\n",
                          adjust, m_referenceCount, static_cast<unsigned int>(m_referenceCount));
            }
            LOG_DEBUG("FileReference Adjust: %d, RefCount: %u, opening the file\n", adjust,
                      static_cast<unsigned int>(m_referenceCount));
            Open(false);
            if (m_pFile == nullptr) {
                LOG_ERROR("FileReference Adjust: %d, RefCount: %d, Failed to open binary file "
                          "'%s' errno: %d\n",
                          adjust, m_referenceCount, m_fileName, errno);
            }
        }
        m_referenceCount = SaturatedSum(m_referenceCount, adjust);
    } else if (adjust < 0) {
        if (m_pFile == nullptr) {
            LOG_ERROR("FileReference Remove: %d, Ref Cnt: %d, Called when file was already "
                      "closed\n",
                      adjust, m_referenceCount);
            return m_referenceCount;
        }
        int32_t sum = SaturatedSum(m_referenceCount, adjust);
        if (sum < 0) {
            LOG_ERROR("FileReference Adjust: %d, RefCount: %d, File Reference is less than adjust "
                      "amount\n",
                      adjust, m_referenceCount);
        }
        m_referenceCount = sum;
        if (sum < 1) {
            LOG_DEBUG("FileReference Adjust: %d, RefCount: %u, closing the file\n", adjust,
                      static_cast<unsigned int>(m_referenceCount));
            Close();
            m_referenceCount = 0;
        }
    }
    return m_referenceCount;
}

namespace {

uint32_t LittleEndian32(const unsigned char* pBytes) {
    return static_cast<uint32_t>(pBytes[0]) | static_cast<uint32_t>(pBytes[1]) << 8 |
           static_cast<uint32_t>(pBytes[2]) << 16 | static_cast<uint32_t>(pBytes[3]) << 24;
}

bool CrcMatches(uint32_t computed, uint32_t stored, IParameterLoggingAPI* pLogging) {
    if (computed != stored) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "Binary file CRC validation failed. Expected: %8x, Actual: %8x\n",
                                computed, stored);
        return false;
    }
    return true;
}

bool LogTooSmall(IParameterLoggingAPI* pLogging) {
    ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                            "Binary file CRC validation failed. Buffer too small\n");
    return false;
}

}  // namespace

bool ParameterBinaryFile::ValidateCRC(unsigned char* pBuffer, unsigned int length,
                                      IParameterLoggingAPI* pLogging) {
    if (pBuffer == nullptr || length < kCrcMinLength) {
        return LogTooSmall(pLogging);
    }
    return CrcMatches(ParameterCrc32::Compute(pBuffer, length - 4),
                      LittleEndian32(pBuffer + length - 4), pLogging);
}

bool ParameterBinaryFile::ComputeFileCrc(unsigned char* pPiece, unsigned int pieceBytes,
                                         unsigned int length, uint32_t* pCrc) {
    // The buffer holds the first piece already.
    unsigned int position = length < pieceBytes ? length : pieceBytes;
    uint32_t crc = ParameterCrc32::Extend(0, pPiece, position);
    while (position < length) {
        const unsigned int start = position;
        const unsigned int count = length - position < pieceBytes ? length - position : pieceBytes;
        if (!Read(pPiece, 0, &position, count, 1)) {
            return false;
        }
        crc = ParameterCrc32::Extend(crc, pPiece, position - start);
    }
    *pCrc = crc;
    return true;
}

bool ParameterBinaryFile::ValidateCRC() {
    ParameterMutexLock lock(&m_lock, false);
    // A file too short for a CRC is reported as such by the buffer check, not as a failed read.
    if (m_fileSize < kCrcMinLength) {
        m_crcValid = LogTooSmall(m_pLogging);
        return m_crcValid;
    }
    // A file that fits in one piece is read whole, as before; a larger one piece by piece,
    // then its stored CRC on its own.
    const bool whole = m_fileSize <= kCrcPieceBytes;
    const unsigned int pieceBytes = whole ? m_fileSize : kCrcPieceBytes;
    unsigned char* pPiece = Read(0, pieceBytes);
    uint32_t computed = 0;
    unsigned int tail = 0;
    m_crcValid = false;
    if (pPiece != nullptr && ComputeFileCrc(pPiece, pieceBytes, m_fileSize - 4, &computed)) {
        const unsigned char* pStored = pPiece + m_fileSize - 4;
        if (!whole) {
            pStored = Read(pPiece, m_fileSize - 4, &tail, 4, 1) ? pPiece : nullptr;
        }
        m_crcValid = pStored != nullptr && CrcMatches(computed, LittleEndian32(pStored), m_pLogging);
    }
    ZyraFree(pPiece);
    return m_crcValid;
}

bool ParameterBinaryFile::Reload() {
    ParameterMutexLock lock(&m_lock, false);
    Close();
    m_fileSize = 0;
    m_referenceCount = 0;
    m_isOpened = false;
    m_crcValid = false;
    m_modified = false;
    m_modifiedTime = 0;

    Open(true);
    m_isOpened = m_pFile != nullptr;
    if (!m_isOpened) {
        return m_crcValid;
    }
    ValidateCRC();
    // A retry inside the CRC read may have lost the stream.
    if (m_pFile != nullptr && std::fseek(m_pFile, 0, SEEK_END) == 0) {
        long size = std::ftell(m_pFile);
        if (size >= 0) {
            m_fileSize = static_cast<uint32_t>(size);
        }
    }
    // No references are held after a reload, so the stream closes until the next one.
    Close();
    return m_crcValid;
}
