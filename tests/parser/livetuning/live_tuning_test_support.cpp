#include "live_tuning_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binwriter/tuning_binary_builder.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace livetuning_test {

namespace {

const VersionUnion kVersion{1, 0, 0};
const char* const kModuleNames[] = {"lens", "awb"};

using setmanager_test::Record;
using setmanager_test::ValueBytes;

}  // namespace

TuningTestModule::TuningTestModule(const char* pName, const VersionUnion& version,
                                   ModuleData* pData)
    : ParameterModule(pName, version, pData) {
    for (unsigned int i = 0; i < kCurveSize; ++i) {
        Curve[i] = static_cast<int32_t>(i);
    }
}

ParameterModule* TuningTestModule::Create(ModuleData* pData, DefaultModule* pDefault) const {
    const VersionUnion version = pData->Version;
    if (std::strcmp(Type, pData->Type) != 0 || version != Version) {
        return nullptr;
    }
    auto* pModule = new TuningTestModule(Name, Version, pData);
    pModule->ModuleID = pData->ID;
    pDefault->AddModule(pModule);
    return pModule;
}

bool TuningTestModule::LoadModule(ParameterFileSymbolTable* pSymbolTable) {
    if (Loaded) {
        return true;
    }
    ParameterFileSymbolTableEntry entry;
    Loaded = pSymbolTable != nullptr && pSymbolTable->Find(entry, ModuleID, true) &&
             entry.Read(&Gain, pSymbolTable->GetAlignment());
    return Loaded;
}

int32_t* TuningTestModule::Field(const char* pPath) {
    if (pPath == nullptr) {
        return nullptr;
    }
    if (std::strcmp(pPath, "gain") == 0) {
        return &Gain;
    }
    unsigned int index = 0;
    int consumed = 0;
    if (std::sscanf(pPath, "curve[%u]%n", &index, &consumed) == 1 && pPath[consumed] == '\0' &&
        index < kCurveSize) {
        return &Curve[index];
    }
    return nullptr;
}

bool TuningTestModule::GetValue(const char* pPath, char* pValue, unsigned int size) {
    if (pPath != nullptr && std::strcmp(pPath, "label") == 0) {
        std::snprintf(pValue, size, "%s", Label.c_str());
        return true;
    }
    const int32_t* pField = Field(pPath);
    if (pField == nullptr) {
        return false;
    }
    std::snprintf(pValue, size, "%d", *pField);
    return true;
}

bool TuningTestModule::SetValue(const char* pPath, const char* pValue) {
    if (pPath != nullptr && std::strcmp(pPath, "label") == 0) {
        Label = pValue;
        ++Modified;
        return true;
    }
    int32_t* pField = Field(pPath);
    char* pEnd = nullptr;
    const long value = std::strtol(pValue, &pEnd, 10);
    if (pField == nullptr || pEnd == pValue || *pEnd != '\0') {
        return false;
    }
    *pField = static_cast<int32_t>(value);
    ++Modified;
    return true;
}

bool TuningTestModule::GetInfo(const char* pPath, PList<ParameterParserInfo>& info) {
    const ParameterParserInfo gain(nullptr, ParameterParserInfo::kInt32, static_cast<double>(Gain),
                                   0);
    const ParameterParserInfo curve(nullptr, ParameterParserInfo::kInt32, true, false, kCurveSize);
    if (pPath == nullptr) {
        ParameterParserInfo named = gain;
        named.Name = "gain";
        info.Insert(info.Count(), named);
        named = curve;
        named.Name = "curve";
        info.Insert(info.Count(), named);
        return true;
    }
    if (std::strcmp(pPath, "gain") == 0 || std::strcmp(pPath, "curve") == 0) {
        info.Insert(info.Count(), pPath[0] == 'g' ? gain : curve);
        return true;
    }
    return false;
}

TuningTestSetManager::TuningTestSetManager() {
    SetMaxActiveModes(17);
    SetOnDemand(true);
    for (const char* pName : kModuleNames) {
        auto* pPrototype = new TuningTestModule(pName, kVersion, nullptr);
        m_defaultModules[pPrototype->Type] = ParserNew<DefaultModule>(pPrototype);
    }
    CreateDialinWorker();
}

bool TuningTestSetManager::LoadTestBinary(const std::string& binaryTag) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.SetBinaryTag(binaryTag);
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(2, 1, 0));
    builder.AddModule("lens", {1, 0, 0}, 0, ValueBytes(11));
    builder.AddModule("lens", {1, 0, 0}, 1, ValueBytes(22));
    builder.AddModule("awb", {1, 0, 0}, 0, ValueBytes(33));
    const std::vector<uint8_t> binary = builder.Build();
    const std::string path =
        m_directory.Write("tuning.bin", std::string(binary.begin(), binary.end()));
    return LoadBinaryParameters(path.c_str());
}

Served::Served(const std::string& binaryTag, bool logging) : manager(new TuningTestSetManager) {
    manager->SetLogging(logging, logging, logging);
    if (manager->LoadTestBinary(binaryTag)) {
        client.Connect("127.0.0.1", manager->Worker()->Port());
    }
}

Served::~Served() {
    // Tuning traffic ends before the set manager goes.
    client.Close();
    manager->Worker()->Stop();
}

}  // namespace livetuning_test
