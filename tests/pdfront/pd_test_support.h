// Helpers of the PD front tests.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "fake_pd_algo.h"
#include "log_capture.h"
#include "pdfront/pd_front.h"
#include "temp_dir.h"
#include "zyra/log.h"

namespace pd_test {

using Texts = std::vector<std::string>;

inline Texts g_stats;                  // "<level> <line> <text>" of each stats message
inline std::string g_lastStatsOrigin;  // "<file> <function> <group>" of the last one
inline const PDStatsLoggerFn g_hostLogger = g_statsLogger;

inline void RecordStats(const char* pFile, uint32_t line, const char* pFunction, uint32_t group,
                        uint32_t level, const char* pFormat, ...) {
    char text[1024];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(text, sizeof(text), pFormat, args);
    va_end(args);
    g_stats.push_back(std::to_string(level) + " " + std::to_string(line) + " " + text);
    g_lastStatsOrigin = std::string(pFile) + " " + pFunction + " " + std::to_string(group);
}

// Fresh library state around every case: slot tables, instance pointers, name pointers, all
// log levels open, trace off, g_cameraId 7. Records the stats logger and Zyra::Log.
class PdFrontTest : public ::testing::Test {
protected:
    void SetUp() override { Reset(RecordStats); }
    void TearDown() override { Reset(g_hostLogger); }

    static Texts TakeStats() { return std::exchange(g_stats, {}); }
    static std::string LastStatsOrigin() { return g_lastStatsOrigin; }
    static void EnableTrace() { Zyra::g_traceInfo = {0x8000000, 1, 0}; }

    zyra_test::LogCapture m_log;

private:
    static void Reset(PDStatsLoggerFn pLogger) {
        std::memset(g_PDLibWrapper, 0, sizeof(g_PDLibWrapper));
        std::memset(g_PDLibWrapper2, 0, sizeof(g_PDLibWrapper2));
        g_pPDLib1 = nullptr;
        std::memset(g_pPDLib2, 0, sizeof(g_pPDLib2));
        pDefaultPDLibName = "com.ovi.stats.pdlib";
        pDefaultStaticPDLibName = "com.ovistatic.stats.pdlib";
        pPDLIBEntryFunctionName = "VexPDLibraryEntry";
        pPDLibName2 = "com.ovi.stats.pdlib";
        pPDLIBEntryFunctionName2 = "VexPDLibraryEntry";
        std::memset(Zyra::g_logInfo, 0, sizeof(Zyra::g_logInfo));
        Zyra::g_logInfoUpdated = 0;
        Zyra::g_traceInfo = Zyra::TraceInfo{};
        g_cameraId = 7;
        g_statsLogger = pLogger;
        g_stats.clear();
    }
};

inline void* Map(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(handle, nullptr) << dlerror();
    return handle;
}

// The control of the fake algorithm library mapped with `handle`.
inline fake_pd::Control* ControlOf(void* handle) {
    void* pControl = handle != nullptr ? dlsym(handle, "FakePdAlgo_Control") : nullptr;
    EXPECT_NE(pControl, nullptr) << "not a fake algorithm library";
    return pControl != nullptr ? reinterpret_cast<fake_pd::PFNControl>(pControl)() : nullptr;
}

enum class Module { kFakeAlgo, kNoEntry };
constexpr const char* kComponentsFolder = "/usr/lib/camera/components/";

// A fresh system root, named in ZYRA_SYSROOT while in scope. Its files stay until the process
// ends: dlopen matches libraries by file identity, and a removed file's inode could be reused
// by a later copy and be taken for a library that is still mapped.
class FakeSysroot {
public:
    FakeSysroot() {
        static zyra_test::TempDir processRoot;  // removed at exit
        static unsigned next = 0;
        m_root = processRoot.File("sysroot" + std::to_string(next++));
        std::filesystem::create_directories(m_root);
        setenv("ZYRA_SYSROOT", m_root.c_str(), 1);
    }
    ~FakeSysroot() { unsetenv("ZYRA_SYSROOT"); }

    // Copies the module to <root><folder><name>.so.0 and returns that path.
    std::string Install(const std::string& folder, const std::string& name,
                        Module module = Module::kFakeAlgo) const {
        const std::string path = m_root + folder + name + ".so.0";
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::filesystem::copy_file(
            module == Module::kFakeAlgo ? PD_FAKE_ALGO_MODULE : PD_FAKE_NOENTRY_MODULE, path,
            std::filesystem::copy_options::overwrite_existing);
        return path;
    }
    // Installs in the components folder and returns the library's control.
    fake_pd::Control* Algo(const std::string& name) const {
        return ControlOf(Map(Install(kComponentsFolder, name)));
    }

private:
    std::string m_root;
};

// "<prefix><pid> <tid> STATS_PD <file>:<line> <function>() <message>"
inline std::string Direct(const char* pPrefix, const char* pFile, uint32_t line,
                          const char* pFunction, const std::string& message) {
    char head[512];
    std::snprintf(head, sizeof(head), "%s%d %d STATS_PD %s:%u %s() ", pPrefix,
                  static_cast<int>(getpid()), static_cast<int>(syscall(SYS_gettid)), pFile, line,
                  pFunction);
    return head + message;
}

inline std::string Ptr(const void* pointer) {  // printf's %p
    char text[32];
    std::snprintf(text, sizeof(text), "%p", pointer);
    return text;
}

// A PDLibCreateParamList over entries that it owns.
class CreateParamList {
public:
    CreateParamList& Entry(uint32_t type, const void* pParam, uint32_t size) {
        m_entries.push_back(PDLibParamEntry{});
        m_entries.back().type = type;
        m_entries.back().pParam = const_cast<void*>(pParam);
        m_entries.back().size = size;
        return *this;
    }
    CreateParamList& Name(const char* pName, uint32_t size = 0) {  // 0: length with terminator
        return Entry(PDLibCreateParamTypeLibName, pName,
                     size != 0 ? size : static_cast<uint32_t>(std::strlen(pName) + 1));
    }
    CreateParamList& Camera(uint32_t cameraId) {
        m_cameras.push_back(PDLibCameraInfo{{}, cameraId});
        return Entry(PDLibCreateParamTypeCameraInfo, &m_cameras.back(), sizeof(PDLibCameraInfo));
    }
    const PDLibCreateParamList* Get() {
        m_list.pParams = m_entries.empty() ? nullptr : m_entries.data();
        m_list.count = static_cast<uint32_t>(m_entries.size());
        return &m_list;
    }

private:
    std::deque<PDLibCameraInfo> m_cameras;
    std::vector<PDLibParamEntry> m_entries;
    PDLibCreateParamList m_list{};
};

}  // namespace pd_test
