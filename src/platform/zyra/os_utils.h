// Operating-system helpers of the camera stack's common utilities.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zyra/export.h"

namespace Zyra {
namespace OsUtils {

// dlopen / dlsym. Libraries are never unmapped by this stack.
ZYRA_COMMONUTILS_API void* LibMap(const char* pPath);
ZYRA_COMMONUTILS_API void* LibGetAddr(void* pHandle, const char* pSymbol);

// Puts the system root of the environment variable ZYRA_SYSROOT in front of an absolute
// library path, so that a test or an emulator can stand in for the device's file system.
// Without the variable, and for a relative path, the path comes back as it is. The result
// lives in a per-thread buffer until the next call on the same thread.
ZYRA_COMMONUTILS_API const char* AddSoctoPath(const char* pPath);

ZYRA_COMMONUTILS_API int32_t GetProcessID();
ZYRA_COMMONUTILS_API int32_t GetThreadID();

// BSD strlcpy / strlcat: always terminate when size > 0, return the length tried.
ZYRA_COMMONUTILS_API size_t StrLCpy(char* pDest, const char* pSrc, size_t size);
ZYRA_COMMONUTILS_API size_t StrLCat(char* pDest, const char* pSrc, size_t size);
// Case-insensitive compare of at most `count` characters.
ZYRA_COMMONUTILS_API int StrNICmp(const char* pLeft, const char* pRight, size_t count);

// Bounded vsnprintf: truncates to `size` and returns what vsnprintf returns.
ZYRA_COMMONUTILS_API int SNPrintF(char* pBuffer, size_t size, const char* pFormat, ...)
    __attribute__((format(printf, 3, 4)));

// Trace markers; without a trace sink they do nothing.
ZYRA_COMMONUTILS_API void TraceBegin(const char* pName);
ZYRA_COMMONUTILS_API void TraceEnd();

// Receives trace markers while installed: the name for a begin, null for an end.
using TraceSink = void (*)(void* pContext, const char* pName);
ZYRA_COMMONUTILS_API void SetTraceSink(TraceSink sink, void* pContext);

}  // namespace OsUtils
}  // namespace Zyra
