// The generated module class: creation from its prototype, loading its entry, clones, the
// fields of a loaded module read, changed and described by text path, and what a change does
// to the module's counters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine_test_support.h"
#include "failing_allocations.h"
#include "log_capture.h"
#include "module_values.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace engine_test {
namespace {

TEST(ModuleClass, CreateChecksVersionThenNameAndSharesInstancesById) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(1));
    uint32_t first = builder.AddModule("enginetest", kModuleVersion, 0, {});
    uint32_t copy = builder.AddSymbol({"enginetest", kModuleVersion, 0, {}, first, {}});
    uint32_t newer = builder.AddModule("enginetest", {1, 0, 1}, 0, {});
    uint32_t other = builder.AddModule("other", kModuleVersion, 0, {});
    uint32_t otherNewer = builder.AddModule("other", {2, 0, 0}, 0, {});
    LoadedBinary binary(builder);
    ASSERT_TRUE(binary.Loaded());

    enginetestTypeClass* pFirst = binary.Create(first);
    ASSERT_NE(pFirst, nullptr);
    EXPECT_STREQ(pFirst->Name, "enginetest");
    EXPECT_EQ(pFirst->ModuleID, first);
    EXPECT_EQ(binary.Create(first), pFirst);
    EXPECT_EQ(binary.Create(copy), pFirst);

    capture.Clear();
    EXPECT_EQ(binary.Create(newer), nullptr);
    EXPECT_EQ(binary.Create(other), nullptr);
    EXPECT_EQ(binary.Create(otherNewer), nullptr);
    EXPECT_EQ(Errors(capture),
              (Messages{"[ERROR] Unable to create enginetestTypeClass, binary version "
                        "(4294967297) does not match source version (1)\n",
                        "[ERROR] Unable to create enginetestTypeClass, binary name (other) does "
                        "not match source name (enginetest)\n",
                        "[ERROR] Unable to create enginetestTypeClass, binary version (2) does "
                        "not match source version (1)\n"}));

    const std::string twin = "enginetest_twin";
    EXPECT_NE(enginetestTypeClass::GetName(twin.c_str()), twin.c_str());
    EXPECT_STREQ(enginetestTypeClass::GetName(twin.c_str()), "enginetest_twin");
    const char* pUnknown = "enginetest_unknown";
    EXPECT_EQ(enginetestTypeClass::GetName(pUnknown), pUnknown);
}

TEST(ModuleClass, CloneSharesNothingWithItsSourceAndOutlivesIt) {
    zyra_test::LogCapture capture;
    binwriter::TuningBinaryBuilder builder(FormatWithAlignment(8));
    const zyra_test::ValueSource values{0xC10E, 0};
    const ParameterEngine::StructDescriptor& top = *enginetestTypeClass::Descriptor().top;
    uint32_t id = builder.AddModule("enginetest", kModuleVersion, 0,
                                    zyra_test::PathValueWriter(builder).Module(top, values));
    LoadedBinary binary(builder);
    enginetestTypeClass* pSource = binary.Create(id);
    ASSERT_NE(pSource, nullptr);
    ASSERT_TRUE(pSource->LoadModule(&binary.Table()));
    // A second load of a loaded module does nothing and counts nothing.
    ASSERT_TRUE(pSource->LoadModule(&binary.Table()));
    EXPECT_EQ(pSource->Modified, 1u);
    EXPECT_EQ(pSource->extraID, id);
    pSource->ModuleID |= 0x03000000;

    std::unique_ptr<enginetestTypeClass> pClone(pSource->Clone());
    ASSERT_NE(pClone, nullptr);
    EXPECT_TRUE(pClone->Loaded);
    EXPECT_EQ(pClone->Modified, 0u);
    EXPECT_EQ(pClone->ModuleID, pSource->ModuleID);
    EXPECT_STREQ(pClone->Name, pSource->Name);
    EXPECT_EQ(binary.Default().Find(id), pSource);
    const std::pair<const void*, const void*> copies[] = {
        {pSource->name, pClone->name},
        {pSource->samples, pClone->samples},
        {pSource->triggers, pClone->triggers},
        {pSource->regions, pClone->regions},
        {pSource->regions[0].label, pClone->regions[0].label},
        {pSource->regions[0].weights, pClone->regions[0].weights},
    };
    for (const auto& [pOriginal, pCopy] : copies) {
        ASSERT_NE(pCopy, nullptr);
        EXPECT_NE(pCopy, pOriginal);
    }
    EXPECT_EQ(Errors(capture), Messages{});
    // Out of memory part way, a clone leaves out what it could not copy and still shares
    // nothing (the sanitizers see a double free otherwise).
    zyra_test::FailEachAllocation([&](const auto& begin, const auto& end) {
        begin();
        std::unique_ptr<enginetestTypeClass> pPartial(pSource->Clone());
        const bool failed = end();
        if (pPartial != nullptr) {
            const std::pair<const void*, const void*> kept[] = {
                {pSource->name, pPartial->name},
                {pSource->samples, pPartial->samples},
                {pSource->triggers, pPartial->triggers},
                {pSource->regions, pPartial->regions},
            };
            for (const auto& [pOriginal, pCopy] : kept) {
                EXPECT_TRUE(pCopy == nullptr || pCopy != pOriginal);
            }
        }
        return failed;
    });
    capture.Clear();

    // The source gives its memory back; the clone keeps every value, and frees its own copies
    // when deleted (the sanitizers see a use after free or a leak otherwise).
    pSource->UnloadModule();
    const auto* pValues = static_cast<const enginetest_1_0_0::enginetestType*>(pClone.get());
    EXPECT_EQ(zyra_test::CheckModule(top, pValues, values), "");
    EXPECT_EQ(Errors(capture), Messages{});
    EXPECT_EQ(pSource->name, nullptr);
    EXPECT_EQ(pSource->extra.weights, nullptr);

    // An ID the table lacks fails the load, logged, and still counts as a change.
    pSource->ModuleID = 0x999;
    EXPECT_FALSE(pSource->LoadModule(&binary.Table()));
    EXPECT_TRUE(capture.Contains("LoadModule Failed to find module ID (2457) in Symbol Table"));
    EXPECT_FALSE(pSource->Loaded);
    EXPECT_EQ(pSource->Modified, 2u);
}

using Texts = std::vector<std::string>;

// Fields held as floats but read as integers get whole numbers here: their text has no point,
// so the digits of a fraction would run on to the end of the buffer.
ModuleValues WholeHeldFloats() {
    ModuleValues values;
    values.gain = 12.f;
    values.origin[1] = -1.f;
    values.curve = {1.f, -2.f, 30.f, 4.f};
    return values;
}

// One enginetest module, loaded packed.
struct LoadedModule {
    binwriter::TuningBinaryBuilder builder{FormatWithAlignment(1)};
    uint32_t id = builder.AddModule("enginetest", kModuleVersion, 0,
                                    WriteModule(builder, WholeHeldFloats()));
    LoadedBinary binary{builder};
    enginetestTypeClass* pModule = binary.Create(id);

    bool Load() { return pModule != nullptr && pModule->LoadModule(&binary.Table()); }
};

// What GetValue leaves in a buffer of `length` that held "?", prefixed "false:" on failure, so
// an untouched buffer shows as "?".
std::string Get(ParameterModule& module, const char* pPath, unsigned int length = 1024) {
    std::vector<char> out(length, '\0');
    out[0] = '?';
    bool ok = module.GetValue(pPath, out.data(), length);
    return (ok ? "" : "false:") + std::string(out.data());
}

// The result of GetInfo, then one line per record: name|type|value|array,optional|count.
Texts Info(ParameterModule& module, const char* pPath) {
    PList<ParameterParserInfo> info;
    Texts lines{module.GetInfo(pPath, info) ? "true" : "false"};
    for (uint32_t i = 0; i < info.Count(); ++i) {
        const ParameterParserInfo& r = info[i];
        lines.push_back(std::string(r.Name != nullptr ? r.Name : "(null)") + "|" + r.TypeName +
                        "|" + r.Value + "|" + (r.IsArray ? "A" : "-") +
                        (r.IsOptional ? "O" : "-") + "|" + std::to_string(r.Count));
    }
    return lines;
}

TEST(Reflection, GetValueReadsEveryKindByPath) {
    LoadedModule loaded;
    ASSERT_TRUE(loaded.Load());
    ParameterModule& m = *loaded.pModule;
    struct Case {
        const char* pPath;
        const char* pExpected;
    };
    const Case cases[] = {
        {"u8", "161"}, {"u16", "45763"}, {"u32", "3571840519"}, {"i32", "-123456"},
        // 64-bit integers pass through a double and lose their lowest digits.
        {"u64", "81985529216486896"}, {"i64", "-9876543210"}, {"f32", "1.5"},
        {"f64", "-2.0625"}, {"flag", "7"}, {"trigger", "1005"}, {"name", "module name"},
        // Held as a float, written as the integer it means.
        {"gain", "12"}, {"origin.y", "-1"}, {"origin.x", "0.5"},
        {"module_version.minor", "4"}, {"module_version", "false:?"},
        {"lut", "11,12,21,22,31,32"}, {"lut[5]", "32"}, {"lut[6]", "11,12,21,22,31,32"},
        {"lut[x]", "11"}, {"lut[-1]", "11"}, {"lut[]", "11,12,21,22,31,32"}, {"lut[1][0]", "12"},
        {"colors", "0,3,2"}, {"colors[1]", "3"},
        {"corners[1].x", "3.0"}, {"corners[2].x", "false:?"}, {"corners.x", "false:?"},
        {"corners[1]", "false:?"},
        {"curve_tab.curve", "1,-2,30,4"}, {"curve_tab.curve[3]", "4"}, {"curve_tab", "false:?"},
        {"samples", "10,20,30"}, {"samples[2]", "30"}, {"samples[3]", "10,20,30"},
        {"triggers[1]", "76"},
        {"regions[0].shape", "7"}, {"regions[1].label", "second"},
        // An empty counted array answers true and leaves the text as it was.
        {"regions[0].weights", "1,2,3"}, {"regions[1].weights", "?"},
        {"regions[2].shape", "false:?"},
        {"extra.weights[0]", "9"}, {"level", "-77"},
        // An index on a single value is ignored; so is a path going on below it.
        {"u8[3]", "161"}, {"tail.x.y", "238"}, {"tail.", "238"},
        {"Tail", "false:?"}, {"", "false:?"}, {"scratch", "false:?"}, {"nosuch.u8", "false:?"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Get(m, c.pPath), c.pExpected) << c.pPath;
    }
    EXPECT_EQ(Get(m, "lut", 8), "11,12,2");
    EXPECT_EQ(Get(m, "name", 5), "modu");
    EXPECT_FALSE(m.GetValue("u8", nullptr, 10));
    EXPECT_EQ(Get(m, nullptr), "false:?");

    // An absent optional element has no value.
    loaded.pModule->extraExists = 0;
    loaded.pModule->levelExists = 0;
    EXPECT_EQ(Get(m, "extra.shape"), "false:?");
    EXPECT_EQ(Get(m, "level"), "false:?");
}

TEST(Reflection, SetValueConvertsStoresListsAndRefusesWhatItCannotChange) {
    LoadedModule loaded;
    ASSERT_TRUE(loaded.Load());
    ParameterModule& m = *loaded.pModule;
    const std::string longItem(129, '1');  // one character more than an item may have
    const std::string longList = longItem + ",3";
    struct Case {
        const char* pPath;
        const char* pValue;
        bool ok;
        const char* pReadPath;
        const char* pReadBack;
    };
    const Case cases[] = {
        {"u32", "-3", true, "u32", "0"},
        {"u32", "99999999999", true, "u32", "4294967295"},
        {"u32", "1e3", false, "u32", "4294967295"},
        {"u32", " 5", false, "u32", "4294967295"},
        {"i32", "2.9", true, "i32", "2"},
        {"i32", "-2.9", true, "i32", "-2"},
        {"u8", "300", true, "u8", "255"},
        {"i64", "-12345678901", true, "i64", "-12345678901"},
        {"f32", "0.25", true, "f32", "0.25"},
        // An enum takes any number: its set of values is not consulted.
        {"trigger", "4242", true, "trigger", "4242"},
        {"name", "x", false, "name", "module name"},
        {"module_version", "1", false, "module_version.major", "3"},
        {"module_version.major", "9", true, "module_version.major", "9"},
        {"lut", "1,2,abc,4", true, "lut", "1,2,21,4,31,32"},
        {"lut", "5,6", true, "lut", "5,6,21,4,31,32"},
        {"lut", "", true, "lut", "5,6,21,4,31,32"},
        {"lut[4]", "", false, "lut", "5,6,21,4,31,32"},
        {"lut[4]", "7", true, "lut", "5,6,21,4,7,32"},
        {"lut", "1,2,3,4,5,6,7,8", true, "lut", "1,2,3,4,5,6"},
        {"lut", ",,9,", true, "lut", "1,2,9,4,5,6"},
        {"lut", longList.c_str(), true, "lut", "1,3,9,4,5,6"},
        // An index at the end stands for no index: the whole list.
        {"lut[6]", "8,7", true, "lut", "8,7,9,4,5,6"},
        {"colors", "1,2", true, "colors", "1,2,2"},
        {"corners[1].y", "8", true, "corners[1].y", "8"},
        {"corners[2].y", "9", false, "corners[1].y", "8"},
        {"curve_tab.curve[1]", "-6", true, "curve_tab.curve", "1,-6,30,4"},
        {"samples[1]", "-5", true, "samples", "10,0,30"},
        // A counted array keeps its size.
        {"samples", "7,8,9,10", true, "samples", "7,8,9"},
        {"regions[0].weights[2]", "40", true, "regions[0].weights", "1,2,40"},
        {"regions[1].weights", "1", true, "regions[1].weights", "?"},
        {"regions[2].shape", "1", false, "regions[0].shape", "7"},
        {"level", "12", true, "level", "12"},
        {"tail.", "1", true, "tail", "1"},
        {"scratch", "1", false, "tail", "1"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(m.SetValue(c.pPath, c.pValue), c.ok) << c.pPath << " = " << c.pValue;
        EXPECT_EQ(Get(m, c.pReadPath), c.pReadBack) << c.pPath << " = " << c.pValue;
    }
    EXPECT_EQ(loaded.pModule->scratch, 0u);
    // The float keeps the fraction; its text keeps the integer type word's precision 0.
    ASSERT_TRUE(m.SetValue("gain", "2.5"));
    EXPECT_EQ(loaded.pModule->gain, 2.5f);
    EXPECT_EQ(Get(m, "gain", 4), "250");
    EXPECT_FALSE(m.SetValue("u8", nullptr));
    // Texts beyond a type's range saturate.
    const std::string huge(60, '9');
    ASSERT_TRUE(m.SetValue("f32", ("-" + huge).c_str()) && m.SetValue("u64", huge.c_str()));
    EXPECT_EQ(loaded.pModule->f32, -FLT_MAX);
    EXPECT_EQ(loaded.pModule->u64, UINT64_MAX);

    loaded.pModule->levelExists = 0;
    EXPECT_FALSE(m.SetValue("level", "1"));
    EXPECT_EQ(loaded.pModule->level, 12);
}

TEST(Reflection, GetInfoListsAStructureOrDescribesTheNamedField) {
    LoadedModule loaded;
    ASSERT_TRUE(loaded.Load());
    ParameterModule& m = *loaded.pModule;
    // One record a field, in declared order; a few of every kind.
    const Texts top = Info(m, "");
    ASSERT_EQ(top.size(), 25u);
    EXPECT_EQ(top[0], "true");
    for (const char* pRecord :
         {"flag|Boolean|7|--|0", "gain|UInt32|12|--|0", "name|String|module name|--|0",
          "lut|UInt16||A-|6", "extra|Structure||-O|1", "level|Int64|-77|-O|5"}) {
        EXPECT_NE(std::find(top.begin(), top.end(), std::string(pRecord)), top.end()) << pRecord;
    }
    EXPECT_EQ(top[1], "u8|UInt8|161|--|0");
    EXPECT_EQ(top[24], "tail|UInt8|238|--|0");
    EXPECT_EQ(Info(m, nullptr), top);
    EXPECT_EQ(Info(m, "module_version"),
              (Texts{"true", "major|UInt16|3|--|0", "minor|UInt16|4|--|0"}));
    const Texts region{"true", "shape|Enum|7|--|0", "label|String|first|--|0",
                       "weights|UInt16||A-|3"};
    EXPECT_EQ(Info(m, "regions[0]"), region);
    EXPECT_EQ(Info(m, "regions[5]"), (Texts{"true", "(null)|Structure||A-|2"}));
    EXPECT_EQ(Info(m, "regions[1].label"), (Texts{"true", "(null)|String|second|--|0"}));
    EXPECT_EQ(Info(m, "curve_tab"), (Texts{"true", "curve|Int32||A-|4"}));
    EXPECT_EQ(Info(m, "extra.weights"), Texts{"false"});
    // Arrays of scalars describe themselves only through their parent's list.
    for (const char* pPath : {"lut", "lut[1]", "curve_tab.curve", "samples[0]", "nosuch",
                              "scratch", "Extra"}) {
        EXPECT_EQ(Info(m, pPath), Texts{"false"}) << pPath;
    }

    loaded.pModule->extraExists = 0;
    loaded.pModule->levelExists = 0;
    EXPECT_EQ(Info(m, "extra"), (Texts{"true", "(null)|Structure||-O|0"}));
    EXPECT_EQ(Info(m, "level"), (Texts{"true", "(null)|Int64||-O|0"}));
    Texts absent = Info(m, "");
    EXPECT_EQ(Texts(absent.end() - 3, absent.end()),
              (Texts{"extra|Structure||-O|0", "level|Int64||-O|0", "tail|UInt8|238|--|0"}));
}

TEST(Reflection, ChangesCountInModifiedAndInTheTopByteOfModuleId) {
    LoadedModule loaded;
    ASSERT_TRUE(loaded.Load());
    enginetestTypeClass& m = *loaded.pModule;
    ASSERT_EQ(m.ModuleID, loaded.id);
    ASSERT_EQ(m.GetModified(), 1u);

    // Failures change neither counter.
    EXPECT_FALSE(m.SetValue("u8", "x"));
    EXPECT_FALSE(m.SetValue("regions[9].shape", "1"));
    EXPECT_EQ(m.ModuleID, loaded.id);
    EXPECT_EQ(m.GetModified(), 1u);

    // A list with bad items still counts as a change.
    ASSERT_TRUE(m.SetValue("lut", "a,b"));
    EXPECT_EQ(m.ModuleID, 0x1000000u | loaded.id);
    for (int i = 2; i <= 255; ++i) {
        ASSERT_TRUE(m.SetValue("u8", "1"));
    }
    EXPECT_EQ(m.ModuleID, 0xFF000000u | loaded.id);
    EXPECT_EQ(m.GetModified(), 256u);
    // The generation wraps to 1, never back to 0 that means unchanged.
    ASSERT_TRUE(m.SetValue("u8", "1"));
    EXPECT_EQ(m.ModuleID, 0x1000000u | loaded.id);
    EXPECT_EQ(m.GetModified(), 257u);

    // A changed module still finds its entry when loaded again.
    m.UnloadModule();
    ASSERT_TRUE(m.LoadModule(&loaded.binary.Table()));
    EXPECT_EQ(Get(m, "u8"), "161");
}

}  // namespace
}  // namespace engine_test
