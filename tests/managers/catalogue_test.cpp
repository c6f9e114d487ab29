// The four set managers against the catalogue file: every name registered by the manager of
// its line, under its short form, with the line's version, and nothing else.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bitml_set_manager.h"
#include "fd_set_manager.h"
#include "image_sensor_module_set_manager.h"
#include "log_capture.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "tuning_set_manager.h"
#include "zyra/memory.h"
#include "zyraflindices.h"

namespace {

using Texts = std::vector<std::string>;

struct CatalogueLine {
    std::string manager;
    std::string nameSpace;
    VersionUnion version;
    Texts names;
};

std::vector<CatalogueLine> ReadCatalogue() {
    std::ifstream file(ZYRA_CATALOGUE_FILE);
    std::vector<CatalogueLine> lines;
    std::string text;
    while (std::getline(file, text)) {
        std::istringstream words(text.substr(0, text.find('#')));
        CatalogueLine line;
        std::string version;
        std::string top;
        if (!(words >> line.manager >> line.nameSpace >> version >> top)) {
            continue;
        }
        unsigned int major = 0;
        unsigned int minor = 0;
        unsigned int patch = 0;
        EXPECT_EQ(std::sscanf(version.c_str(), "%u.%u.%u", &major, &minor, &patch), 3) << text;
        line.version = VersionUnion(static_cast<uint16_t>(major), static_cast<uint16_t>(minor),
                                    patch);
        for (std::string name; words >> name;) {
            line.names.push_back(name);
        }
        lines.push_back(line);
    }
    return lines;
}

std::unique_ptr<CatalogueSetManager> Make(const std::string& manager) {
    static const std::map<std::string, std::function<CatalogueSetManager*()>> kMakers = {
        {"TuningSetManager", [] { return new TuningSetManager; }},
        {"ImageSensorModuleSetManager", [] { return new ImageSensorModuleSetManager; }},
        {"fdSetManager", [] { return new fdSetManager; }},
        {"bitmlSetManager", [] { return new bitmlSetManager; }},
    };
    return std::unique_ptr<CatalogueSetManager>(kMakers.at(manager)());
}

TEST(Catalogue, EveryNameIsRegisteredByItsManagerWithTheVersionOfItsLine) {
    const std::vector<CatalogueLine> lines = ReadCatalogue();
    std::set<std::string> managerNames;
    for (const CatalogueLine& line : lines) {
        managerNames.insert(line.manager);
    }
    EXPECT_EQ(managerNames.size(), 4u);

    std::map<std::string, std::unique_ptr<CatalogueSetManager>> managers;
    for (const std::string& name : managerNames) {
        managers[name] = Make(name);
    }
    for (const CatalogueLine& line : lines) {
        for (const std::string& name : line.names) {
            SCOPED_TRACE(line.manager + " " + name);
            char type[ModuleData::kTypeLength + 1] = {};
            DefaultModule* pDefault =
                managers[line.manager]->GetDefaultModule(ModuleData::GetType(type, name.c_str()));
            ASSERT_NE(pDefault, nullptr);
            EXPECT_STREQ(pDefault->Prototype->Name, name.c_str());
            EXPECT_EQ(pDefault->Prototype->Version, line.version);
            EXPECT_EQ(pDefault->InstanceHead, nullptr);
        }
    }
}

TEST(Catalogue, ManagersLogTheirLifeRefuseUnknownTypesAndFreeEveryPrototype) {
    // A prototype that counts its own end.
    static int s_destroyed = 0;
    struct Watched : zyraflindices::FLIndicesTypeClass {
        Watched() : FLIndicesTypeClass("flIndices") {}
        ~Watched() override { ++s_destroyed; }
    };
    zyra_test::LogCapture capture;
    {
        bitmlSetManager bitml;
        fdSetManager fd;
        char unknown[] = "abf34_ife";
        EXPECT_EQ(bitml.GetDefaultModule(unknown), nullptr);
        EXPECT_EQ(fd.GetDefaultModule(nullptr), nullptr);
        // A later prototype of a Type takes the place of the earlier one, which stays until
        // the manager goes.
        char registered[] = "flIndices";
        ASSERT_NE(fd.GetDefaultModule(registered), nullptr);
        auto* pReplaced = new Watched;
        auto* pLater = new Watched;
        fd.AddModule(pReplaced);
        fd.AddModule(pLater);
        fd.AddModule(nullptr);
        EXPECT_EQ(fd.GetDefaultModule(registered)->Prototype, pLater);
        EXPECT_EQ(s_destroyed, 0);
    }
    EXPECT_EQ(s_destroyed, 2);
    EXPECT_TRUE(capture.Contains("bitmlSetManager constructed: Parameter Parser V5.5.1 (2411131018)"));
    EXPECT_TRUE(capture.Contains("Failed to find module abf34_ife in DefaultModuleMap"));
    EXPECT_TRUE(capture.Contains("fdSetManager deleting"));
}

TEST(Catalogue, ConstructionOutOfMemoryThrowsAndKeepsNothing) {
    zyra_test::LogCapture capture;
    for (uint32_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        std::unique_ptr<fdSetManager> pManager;
        Zyra::Memory::FailNthAllocation(nth);
        try {
            pManager.reset(new fdSetManager);
        } catch (const std::bad_alloc&) {
        }
        Zyra::Memory::FailNthAllocation(0);
        if (pManager != nullptr) {
            // Once construction succeeds, it registered every name.
            char config[] = "fdconfigdata";
            char indices[] = "flIndices";
            EXPECT_NE(pManager->GetDefaultModule(config), nullptr);
            EXPECT_NE(pManager->GetDefaultModule(indices), nullptr);
            EXPECT_GT(nth, 1u);
            break;
        }
    }
}

}  // namespace
