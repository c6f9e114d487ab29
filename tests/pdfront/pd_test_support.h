// Helpers of the PD front tests: a recorder in g_statsLogger, temporary system roots with
// copies of the fake algorithm library, expected texts of the direct log form, and a fixture
// that gives every case fresh library state.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fake_pd_algo.h"
#include "log_capture.h"
#include "pdfront/pd_front.h"

namespace pd_test {

// One call of g_statsLogger.
struct StatsLine {
    std::string file;
    uint32_t line;
    std::string function;
    uint32_t group;
    uint32_t level;
    std::string text;  // the formatted message
};

// Installs a recording function in g_statsLogger while in scope.
class StatsLogRecorder {
public:
    StatsLogRecorder();
    ~StatsLogRecorder();
    StatsLogRecorder(const StatsLogRecorder&) = delete;
    StatsLogRecorder& operator=(const StatsLogRecorder&) = delete;

    const std::vector<StatsLine>& Lines() const;
    std::vector<std::string> Texts() const;
    void Clear();

private:
    PDStatsLoggerFn m_previous;
};

// The build's fake algorithm library and the module without entry symbol.
enum class Module { kFakeAlgo, kNoEntry };

// A fresh system root for the case, named in ZYRA_SYSROOT while in scope. The files live
// until the process ends: a mapped library keeps its file's identity, and dlopen matches
// libraries by file identity, so a file is never removed while a later copy could reuse its
// inode. Every Install copies the module, so each path is a library of its own.
class FakeSysroot {
public:
    FakeSysroot();
    ~FakeSysroot();
    FakeSysroot(const FakeSysroot&) = delete;
    FakeSysroot& operator=(const FakeSysroot&) = delete;

    const std::string& Root() const { return m_root; }
    // Copies the module to <root><folder><name>.so.0 and returns that path. `folder` is a
    // device folder such as "/usr/lib/camera/components/".
    std::string Install(const std::string& folder, const std::string& name,
                        Module module = Module::kFakeAlgo) const;
    // Installs in the algorithm library folder and returns the library's control, mapping it
    // now (later maps of the same path get the same library).
    fake_pd::Control* InstallAlgo(const std::string& name) const;

private:
    std::string m_root;
    std::string m_previousSysroot;
    bool m_hadSysroot;
};

constexpr const char* kComponentsFolder = "/usr/lib/camera/components/";
constexpr const char* kVendorFolder = "/usr/lib/";

// Maps `path` and returns the control of the fake library there.
fake_pd::Control* ControlAt(const std::string& path);
// The control of the library mapped with `libHandle`.
fake_pd::Control* ControlOf(void* libHandle);

// The text the direct form prints for a message: "<prefix><pid> <tid> STATS_PD <file>:<line>
// <function>() <message>".
std::string Direct(const char* pPrefix, const char* pFile, uint32_t line, const char* pFunction,
                   const std::string& message);
// printf's %p of a pointer, as the messages print it.
std::string Ptr(const void* pointer);

// A PDLibCreateParamList built from entries that it owns.
class CreateParamList {
public:
    CreateParamList& Name(const char* pName, uint32_t size);
    CreateParamList& Name(const char* pName);  // size of the text with its terminator
    CreateParamList& Camera(uint32_t cameraId);
    CreateParamList& Entry(uint32_t type, void* pParam, uint32_t size);
    const PDLibCreateParamList* Get();

private:
    std::vector<std::unique_ptr<PDLibCameraInfo>> m_cameras;
    std::vector<PDLibParamEntry> m_entries;
    PDLibCreateParamList m_list{};
};

// Resets the state of the PD front before and after every case: slot tables, instance
// pointers, name pointers, log gates, trace; sets g_cameraId to kCameraIdOfThread and
// records both log forms.
class PdFrontTest : public ::testing::Test {
protected:
    static constexpr uint32_t kCameraIdOfThread = 7;

    void SetUp() override;
    void TearDown() override;

    // Closes the direct form's WARN, INFO and VERB levels (g_logInfoUpdated set, masks 0).
    static void CloseDirectLevels();
    static void EnableTrace();

    StatsLogRecorder m_stats;
    zyra_test::LogCapture m_log;

private:
    void ResetState();
};

}  // namespace pd_test
