#include "pd_test_support.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "temp_dir.h"
#include "zyra/log.h"

namespace pd_test {
namespace {

std::vector<StatsLine>& RecordedStatsLines() {
    static std::vector<StatsLine> lines;
    return lines;
}

void RecordStats(const char* pFile, uint32_t line, const char* pFunction, uint32_t group,
                 uint32_t level, const char* pFormat, ...) {
    char text[4096];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(text, sizeof(text), pFormat, args);
    va_end(args);
    RecordedStatsLines().push_back({pFile, line, pFunction, group, level, text});
}

// Root of all system roots of this process; removed at exit.
const zyra_test::TempDir& ProcessRoot() {
    static zyra_test::TempDir root;
    return root;
}

std::string ModulePath(Module module) {
    return module == Module::kFakeAlgo ? PD_FAKE_ALGO_MODULE : PD_FAKE_NOENTRY_MODULE;
}

}  // namespace

StatsLogRecorder::StatsLogRecorder() : m_previous(g_statsLogger) {
    RecordedStatsLines().clear();
    g_statsLogger = RecordStats;
}

StatsLogRecorder::~StatsLogRecorder() {
    g_statsLogger = m_previous;
    RecordedStatsLines().clear();
}

const std::vector<StatsLine>& StatsLogRecorder::Lines() const { return RecordedStatsLines(); }

std::vector<std::string> StatsLogRecorder::Texts() const {
    std::vector<std::string> texts;
    for (const StatsLine& line : RecordedStatsLines()) {
        texts.push_back(line.text);
    }
    return texts;
}

void StatsLogRecorder::Clear() { RecordedStatsLines().clear(); }

FakeSysroot::FakeSysroot() {
    static std::atomic<unsigned> next{0};
    m_root = ProcessRoot().File("sysroot" + std::to_string(next++));
    std::filesystem::create_directories(m_root);
    const char* pPrevious = std::getenv("ZYRA_SYSROOT");
    m_hadSysroot = pPrevious != nullptr;
    m_previousSysroot = m_hadSysroot ? pPrevious : "";
    setenv("ZYRA_SYSROOT", m_root.c_str(), 1);
}

FakeSysroot::~FakeSysroot() {
    if (m_hadSysroot) {
        setenv("ZYRA_SYSROOT", m_previousSysroot.c_str(), 1);
    } else {
        unsetenv("ZYRA_SYSROOT");
    }
}

std::string FakeSysroot::Install(const std::string& folder, const std::string& name,
                                 Module module) const {
    const std::string path = m_root + folder + name + ".so.0";
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(ModulePath(module), path,
                               std::filesystem::copy_options::overwrite_existing);
    return path;
}

fake_pd::Control* FakeSysroot::InstallAlgo(const std::string& name) const {
    return ControlAt(Install(kComponentsFolder, name));
}

fake_pd::Control* ControlAt(const std::string& path) {
    void* pHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (pHandle == nullptr) {
        ADD_FAILURE() << "cannot map " << path << ": " << dlerror();
        return nullptr;
    }
    return ControlOf(pHandle);
}

fake_pd::Control* ControlOf(void* libHandle) {
    if (libHandle == nullptr) {
        ADD_FAILURE() << "no library handle";
        return nullptr;
    }
    auto pControl =
        reinterpret_cast<fake_pd::PFNControl>(dlsym(libHandle, fake_pd::kControlSymbol));
    if (pControl == nullptr) {
        ADD_FAILURE() << "library has no " << fake_pd::kControlSymbol;
        return nullptr;
    }
    return pControl();
}

std::string Direct(const char* pPrefix, const char* pFile, uint32_t line, const char* pFunction,
                   const std::string& message) {
    char head[512];
    std::snprintf(head, sizeof(head), "%s%d %d STATS_PD %s:%u %s() ", pPrefix,
                  static_cast<int>(getpid()), static_cast<int>(syscall(SYS_gettid)), pFile, line,
                  pFunction);
    return head + message;
}

std::string Ptr(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", pointer);
    return text;
}

CreateParamList& CreateParamList::Name(const char* pName, uint32_t size) {
    return Entry(PDLibCreateParamTypeLibName, const_cast<char*>(pName), size);
}

CreateParamList& CreateParamList::Name(const char* pName) {
    return Name(pName, static_cast<uint32_t>(std::strlen(pName) + 1));
}

CreateParamList& CreateParamList::Camera(uint32_t cameraId) {
    m_cameras.push_back(std::make_unique<PDLibCameraInfo>());
    m_cameras.back()->cameraId = cameraId;
    return Entry(PDLibCreateParamTypeCameraInfo, m_cameras.back().get(), sizeof(PDLibCameraInfo));
}

CreateParamList& CreateParamList::Entry(uint32_t type, void* pParam, uint32_t size) {
    PDLibParamEntry entry{};
    entry.type = type;
    entry.pParam = pParam;
    entry.size = size;
    m_entries.push_back(entry);
    return *this;
}

const PDLibCreateParamList* CreateParamList::Get() {
    m_list.pParams = m_entries.empty() ? nullptr : m_entries.data();
    m_list.count = static_cast<uint32_t>(m_entries.size());
    return &m_list;
}

void PdFrontTest::SetUp() { ResetState(); }

void PdFrontTest::TearDown() { ResetState(); }

void PdFrontTest::ResetState() {
    std::memset(g_PDLibWrapper, 0, sizeof(g_PDLibWrapper));
    std::memset(g_PDLibWrapper2, 0, sizeof(g_PDLibWrapper2));
    g_pPDLibWrapper = nullptr;
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
    g_cameraId = kCameraIdOfThread;
}

void PdFrontTest::CloseDirectLevels() {
    std::memset(Zyra::g_logInfo, 0, sizeof(Zyra::g_logInfo));
    Zyra::g_logInfoUpdated = 1;
}

void PdFrontTest::EnableTrace() {
    Zyra::g_traceInfo.groupMask = 0x8000000;
    Zyra::g_traceInfo.enabled = 1;
}

}  // namespace pd_test
