// Loading of the algorithm libraries and the two create operations.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "fake_pd_algo.h"

#include "pd_test_support.h"
#include "temp_dir.h"

namespace pd_test {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

constexpr const char* kFile = "pd_library_loader.cpp";
constexpr const char* kDefault = "com.ovi.stats.pdlib";
constexpr const char* kStatic = "com.ovistatic.stats.pdlib";
VEXPDLib* const kUntouched = reinterpret_cast<VEXPDLib*>(uintptr_t{0xDEAD0});

// The control of the fake algorithm library mapped with `handle`.
fake_pd::Control* ControlOf(void* handle) {
    void* pControl = handle != nullptr ? dlsym(handle, "FakePdAlgo_Control") : nullptr;
    EXPECT_NE(pControl, nullptr) << "not a fake algorithm library";
    return pControl != nullptr ? reinterpret_cast<fake_pd::PFNControl>(pControl)() : nullptr;
}

constexpr const char* kComponentsFolder = "/usr/lib/camera/components/";

// A fresh system root, named in ZYRA_SYSROOT while in scope, and the fake algorithm libraries
// installed in it by name. Its files stay until the process ends: dlopen matches libraries by
// file identity, and a removed file's inode could be reused by a later copy and be taken for a
// library that is still mapped.
class FakeSysroot : public std::map<std::string, fake_pd::Control*> {
public:
    FakeSysroot(std::initializer_list<const char*> names) {
        static zyra_test::TempDir processRoot;  // removed at exit
        static unsigned next = 0;
        m_root = processRoot.File("sysroot" + std::to_string(next++));
        setenv("ZYRA_SYSROOT", m_root.c_str(), 1);
        for (const char* pName : names) {
            Algo(kComponentsFolder, pName);
        }
    }
    ~FakeSysroot() { unsetenv("ZYRA_SYSROOT"); }

    // Copies the module to <root><folder><name>.so.0 and returns that path.
    std::string Install(const std::string& folder, const std::string& name,
                        const char* pModule = PD_FAKE_ALGO_MODULE) const {
        const std::string path = m_root + folder + name + ".so.0";
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::filesystem::copy_file(pModule, path,
                                   std::filesystem::copy_options::overwrite_existing);
        return path;
    }
    // Installs and maps a fake algorithm library, and keeps its control under its name.
    void Algo(const std::string& folder, const std::string& name) {
        void* handle = dlopen(Install(folder, name).c_str(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(handle, nullptr) << dlerror();
        (*this)[name] = ControlOf(handle);
    }
    uint32_t Creates() const {  // instances asked for, over all libraries
        uint32_t calls = 0;
        for (const auto& library : *this) {
            calls += library.second->createCalls;
        }
        return calls;
    }

private:
    std::string m_root;
};

// A PDLibCreateParamList over entries that it owns.
struct CreateParamList {
    CreateParamList& Entry(uint32_t type, const void* pParam, uint32_t size) {
        entries.push_back({type, const_cast<void*>(pParam), size});
        return *this;
    }
    CreateParamList& Name(const char* pName, uint32_t size = 0) {  // 0: length with terminator
        return Entry(PDLibCreateParamTypeLibName, pName,
                     size != 0 ? size : static_cast<uint32_t>(std::strlen(pName) + 1));
    }
    CreateParamList& Camera(uint32_t cameraId) {
        cameras.push_back(PDLibCameraInfo{{}, cameraId});
        return Entry(PDLibCreateParamTypeCameraInfo, &cameras.back(), sizeof(PDLibCameraInfo));
    }
    const PDLibCreateParamList* Get() {
        list = {entries.empty() ? nullptr : entries.data(), static_cast<uint32_t>(entries.size())};
        return &list;
    }

    std::deque<PDLibCameraInfo> cameras;
    std::vector<PDLibParamEntry> entries;
    PDLibCreateParamList list{};
};

std::string Loaded(const std::string& path) {
    return Direct("[ VERB]", kFile, 129, "LoadPDLib",
                  "Loaded Algorithm Lib: " + path + " Entry function VexPDLibraryEntry");
}

using LoaderTest = PdFrontTest;

TEST_F(LoaderTest, CreatePDLibWrapperLoadsTheNamedLibraryIntoTheCamerasSlot) {
    struct Case {
        void (*fill)(CreateParamList&);
        uint32_t cameraId;
        const char* pLoaded;  // the library mapped into the slot; null: none
        bool created;         // the library was asked for an instance
        const char* pStats;   // null: no message
    };
    const char* const kNotFound = "2 922 CID:[7] Not found PDLIB[CamId:4] entry function";
    const Case cases[] = {
        {[](CreateParamList& l) { l.Camera(2); }, 2, kDefault, true, nullptr},
        {[](CreateParamList& l) {
             l.Name("first.algo").Camera(1).Name("second.algo").Name("abc", 3);
             l.Entry(1, nullptr, 64).Entry(7, &l, 64);
         },
         1, "second.algo", true, nullptr},
        {[](CreateParamList& l) { l.Name("abc", 4).Camera(4); }, 4, "abc", true, nullptr},
        {[](CreateParamList& l) { l.Name("vendor.algo").Camera(3); }, 3, "vendor.algo", true,
         nullptr},
        {[](CreateParamList&) {}, 0, nullptr, false, nullptr},
        {[](CreateParamList& l) { l.Camera(1).Camera(12); }, 0, nullptr, false, nullptr},
        {[](CreateParamList& l) { l.Name("absent").Camera(4); }, 4, nullptr, false, kNotFound},
        {[](CreateParamList& l) { l.Name("noentry").Camera(4); }, 4, "noentry", false, kNotFound},
        {[](CreateParamList& l) { l.Name("nocreate").Camera(4); }, 4, "nocreate", false,
         "2 917 CID:[7] PDLIB[CamId:4] create function is NULL pointer"},
    };
    FakeSysroot libraries({kDefault, "first.algo", "second.algo", "abc", "nocreate"});
    libraries["abc"]->createResult = 3;  // handed back as it is
    libraries["nocreate"]->noCreate = true;
    libraries.Algo("/usr/lib/", "vendor.algo");
    libraries.Install("/usr/lib/", kDefault);  // the components folder comes first
    libraries.Install(kComponentsFolder, "noentry", PD_FAKE_NOENTRY_MODULE);
    for (size_t index = 0; index < std::size(cases); ++index) {
        const Case& create = cases[index];
        SCOPED_TRACE("case " + std::to_string(index));
        std::memset(g_PDLibWrapper, 0, sizeof(g_PDLibWrapper));
        m_log.Clear();
        const uint32_t createsBefore = libraries.Creates();
        CreateParamList list;
        create.fill(list);
        g_PDLibWrapper[create.cameraId].callbacks.pReserved = &list;  // the slot is zeroed first
        VEXPDLib* pInstance = kUntouched;
        EXPECT_EQ(CreatePDLibWrapper(&pInstance, list.Get()),
                  create.created ? libraries[create.pLoaded]->createResult : 0u);
        const std::string folder = create.pLoaded && std::strcmp(create.pLoaded, "vendor.algo") == 0
                                       ? "/usr/lib//"
                                       : kComponentsFolder;
        EXPECT_EQ(m_log.Texts(), create.pLoaded ? Texts{Loaded(folder + create.pLoaded + ".so.0")}
                                                : Texts{});
        EXPECT_EQ(TakeStats(), create.pStats ? Texts{create.pStats} : Texts{});
        PDLibWrapperSlot& slot = g_PDLibWrapper[create.cameraId];
        EXPECT_EQ(slot.libHandle != nullptr, create.pLoaded != nullptr);
        EXPECT_EQ(slot.callbacks.pReserved == nullptr, create.pLoaded || create.pStats);
        EXPECT_EQ(libraries.Creates(), createsBefore + (create.created ? 1 : 0));
        if (!create.created) {
            EXPECT_EQ(pInstance, kUntouched);
            continue;
        }
        fake_pd::Control* pLibrary = libraries[create.pLoaded];
        EXPECT_EQ(ControlOf(slot.libHandle), pLibrary);
        EXPECT_NE(slot.callbacks.pfnQueryVendorTag, nullptr);  // filled by the library's entry
        EXPECT_EQ(pLibrary->lastCreateOut, &pInstance);
        EXPECT_EQ(pLibrary->lastCreateParams, list.Get());
        EXPECT_EQ(pInstance, &pLibrary->instances[pLibrary->instanceCount - 1]);
    }
}

// "<letter><line>" of each direct message, as "V690 I706 E837".
std::string Brief(const Texts& texts) {
    std::string brief;
    for (const std::string& text : texts) {
        const size_t line = text.find(".cpp:") + 5;
        brief += std::string(brief.empty() ? "" : " ") + text[text[1] == ' ' ? 2 : 1] +
                 text.substr(line, text.find(' ', line) - line);
    }
    return brief;
}

TEST_F(LoaderTest, TwoLibraryCreateAnswersOneOnEveryPathAndStoresNothing) {
    struct Case {
        bool fresh;          // both tables are zeroed first; else the last case's slots stay
        const char* pName1;  // null: no name entry
        uint32_t cameraId;
        const char* pName2;
        const char* pBrief;
        uint32_t creates;    // instances asked for
        const char* pError;  // the last message, echoed to the trace
    };
    const char* const kMutex = "MaxNumCameras 10 cameraId 3 g_pAFPDlibMutex (nil)";
    const Case cases[] = {
        {true, nullptr, 3, "second", "V690 I706 V129 V719 V129 V759 E837", 2, kMutex},
        // The static name loads an empty slot without the INFO line; a loaded second slot is
        // kept whatever the name.
        {true, kStatic, 3, "second", "V690 V129 V719 V129 V759 E837", 2, kMutex},
        {false, kDefault, 3, "absent", "V690 I706 V129 V719 E837", 2, kMutex},
        {true, "absent", 2, "second", "V690 I706 V719 E728", 0,
         "cameraId 2 PDLIB1 entry function Not found "},
        {true, "noinstance", 2, "second", "V690 I706 V129 V719 W738 E742", 1,
         "cameraId 2 pPDLib1 is NULL pointer"},
        {true, kDefault, 2, "nocreate", "V690 I706 V129 V719 V129 V759 E786", 1,
         "PDLIB2[CamId:2] create function is NULL pointer"},
        {true, kDefault, 2, "noinstance", "V690 I706 V129 V719 V129 V759 E780", 2,
         "cameraId 2 pPDLib2 is NULL pointer"},
    };
    FakeSysroot libraries({kDefault, kStatic, "second", "nocreate", "noinstance"});
    libraries["nocreate"]->noCreate = true;
    libraries["noinstance"]->noInstance = true;
    libraries["noinstance"]->createResult = 6;
    EnableTrace();
    for (size_t index = 0; index < std::size(cases); ++index) {
        const Case& create = cases[index];
        SCOPED_TRACE("case " + std::to_string(index));
        if (create.fresh) {
            std::memset(g_PDLibWrapper, 0, sizeof(g_PDLibWrapper));
            std::memset(g_PDLibWrapper2, 0, sizeof(g_PDLibWrapper2));
        }
        pPDLibName2 = create.pName2;
        m_log.Clear();
        const uint32_t createsBefore = libraries.Creates();
        CreateParamList list;
        if (create.pName1 != nullptr) {
            list.Name(create.pName1);
        }
        list.Camera(create.cameraId);
        VEXPDLib* pInstance = kUntouched;
        EXPECT_EQ(CreatePDLibWrapperHandleMultiPDLib(&pInstance, list.Get()), 1u);
        EXPECT_EQ(pInstance, kUntouched);
        EXPECT_EQ(g_pPDLib1, nullptr);
        EXPECT_EQ(std::count(std::begin(g_pPDLib2), std::end(g_pPDLib2), nullptr), 10);
        EXPECT_EQ(libraries.Creates() - createsBefore, create.creates);
        const Texts texts = m_log.Texts();
        EXPECT_EQ(Brief(texts), create.pBrief);
        EXPECT_EQ(texts.front(),
                  Direct("[ VERB]", kFile, 690, "CreatePDLibWrapperHandleMultiPDLib",
                         "cameraId " + std::to_string(create.cameraId) + " pPDLibName1 " +
                             (create.pName1 ? create.pName1 : "(null)")));
        EXPECT_THAT(texts.back(), EndsWith("() " + std::string(create.pError)));
        EXPECT_THAT(m_log.Trace(), ElementsAre("[ERROR]" + std::string(create.pError), "<end>"));
    }
    EXPECT_TRUE(TakeStats().empty());
}

}  // namespace
}  // namespace pd_test
