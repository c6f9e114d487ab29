#include "zyra/os_utils.h"

#include <dlfcn.h>
#include <strings.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace Zyra {
namespace OsUtils {
namespace {

constexpr size_t kPathSize = 4096;

std::mutex g_traceLock;
TraceSink g_traceSink = nullptr;
void* g_traceContext = nullptr;

void Trace(const char* pName) {
    std::lock_guard<std::mutex> guard(g_traceLock);
    if (g_traceSink != nullptr) {
        g_traceSink(g_traceContext, pName);
    }
}

}  // namespace

void* LibMap(const char* pPath) {
    return pPath != nullptr ? dlopen(pPath, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void* LibGetAddr(void* pHandle, const char* pSymbol) {
    return (pHandle != nullptr && pSymbol != nullptr) ? dlsym(pHandle, pSymbol) : nullptr;
}

const char* AddSoctoPath(const char* pPath) {
    thread_local char buffer[kPathSize];
    const char* pRoot = std::getenv("ZYRA_SYSROOT");
    if (pPath == nullptr || pPath[0] != '/' || pRoot == nullptr || pRoot[0] == '\0') {
        return pPath;
    }
    SNPrintF(buffer, sizeof(buffer), "%s%s", pRoot, pPath);
    return buffer;
}

int32_t GetProcessID() { return static_cast<int32_t>(getpid()); }

int32_t GetThreadID() { return static_cast<int32_t>(syscall(SYS_gettid)); }

size_t StrLCpy(char* pDest, const char* pSrc, size_t size) {
    size_t length = std::strlen(pSrc);
    if (size > 0) {
        size_t copied = length < size - 1 ? length : size - 1;
        std::memcpy(pDest, pSrc, copied);
        pDest[copied] = '\0';
    }
    return length;
}

size_t StrLCat(char* pDest, const char* pSrc, size_t size) {
    size_t used = strnlen(pDest, size);
    if (used == size) {
        return size + std::strlen(pSrc);
    }
    return used + StrLCpy(pDest + used, pSrc, size - used);
}

int StrNICmp(const char* pLeft, const char* pRight, size_t count) {
    return strncasecmp(pLeft, pRight, count);
}

int SNPrintF(char* pBuffer, size_t size, const char* pFormat, ...) {
    va_list args;
    va_start(args, pFormat);
    int result = std::vsnprintf(pBuffer, size, pFormat, args);
    va_end(args);
    return result;
}

void TraceBegin(const char* pName) { Trace(pName != nullptr ? pName : ""); }

void TraceEnd() { Trace(nullptr); }

void SetTraceSink(TraceSink sink, void* pContext) {
    std::lock_guard<std::mutex> guard(g_traceLock);
    g_traceSink = sink;
    g_traceContext = pContext;
}

}  // namespace OsUtils
}  // namespace Zyra
