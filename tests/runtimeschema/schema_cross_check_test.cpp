// Every schema of schemas/ read at run time against what the build compiled from it: the
// descriptors field by field, and a binary of every typed module read through both, which has
// to answer every value alike.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "../engine/loaded_binary.h"
#include "../parser/file/symbol_table_support.h"
#include "log_capture.h"
#include "parser/engine/reflection_engine.h"
#include "parser/engine/structure_engine.h"
#include "parser/runtimeschema/compiled_namespaces.h"
#include "parser/runtimeschema/schema_files.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "path_values.h"

namespace {

using ParameterEngine::EnumDescriptor;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::ModuleDescriptor;
using ParameterEngine::StructDescriptor;
using RuntimeSchema::CompiledNamespace;
using RuntimeSchema::SchemaNamespace;

bool SameText(const char* pA, const char* pB) {
    return pA == pB || (pA != nullptr && pB != nullptr && std::strcmp(pA, pB) == 0);
}

// The path of the first difference between two descriptor graphs; empty when they are equal.
class DescriptorComparer {
public:
    std::string Modules(const ModuleDescriptor& a, const ModuleDescriptor& b) {
        const std::string at = a.className;
        bool same = SameText(a.className, b.className) && a.major == b.major &&
                    a.minor == b.minor && a.patch == b.patch && a.nameCount == b.nameCount &&
                    a.masksModuleId == b.masksModuleId && a.hasReflection == b.hasReflection &&
                    (a.triggerTree == nullptr) == (b.triggerTree == nullptr);
        for (uint32_t i = 0; same && i < a.nameCount; ++i) {
            same = SameText(a.names[i], b.names[i]);
        }
        if (!same) {
            return at;
        }
        if (a.triggerTree != nullptr) {
            const auto& x = *a.triggerTree;
            const auto& y = *b.triggerTree;
            if (x.variablesOffset != y.variablesOffset ||
                x.variableCountOffset != y.variableCountOffset ||
                x.variableArrayOffset != y.variableArrayOffset ||
                x.rootCountOffset != y.rootCountOffset || x.rootArrayOffset != y.rootArrayOffset ||
                x.indexOffset != y.indexOffset || x.typeOffset != y.typeOffset ||
                x.childCountOffset != y.childCountOffset ||
                x.childArrayOffset != y.childArrayOffset) {
                return at + ".triggerTree";
            }
            Structs(*x.node, *y.node, at + ".triggerTree.node");
        }
        Structs(*a.top, *b.top, at);
        return m_difference;
    }

    std::string Structs(const StructDescriptor& a, const StructDescriptor& b,
                        const std::string& at) {
        if (!m_difference.empty() || !m_compared.insert({&a, &b}).second) {
            return m_difference;
        }
        if (!SameText(a.name, b.name) || a.size != b.size || a.fieldCount != b.fieldCount ||
            a.hasReservedId != b.hasReservedId || a.ownsMemory != b.ownsMemory ||
            !SameText(a.siteSource, b.siteSource)) {
            return m_difference = at;
        }
        for (uint32_t i = 0; i < a.fieldCount && m_difference.empty(); ++i) {
            Fields(a.fields[i], b.fields[i], at + "." + a.fields[i].name);
        }
        return m_difference;
    }

    std::string Enums(const EnumDescriptor& a, const EnumDescriptor& b, const std::string& at) {
        bool same = SameText(a.name, b.name) && a.rangeCount == b.rangeCount;
        for (uint32_t i = 0; same && i < a.rangeCount; ++i) {
            same = a.ranges[i].first == b.ranges[i].first && a.ranges[i].last == b.ranges[i].last;
        }
        if (!same && m_difference.empty()) {
            m_difference = at;
        }
        return m_difference;
    }

private:
    void Fields(const FieldDescriptor& a, const FieldDescriptor& b, const std::string& at) {
        bool same = SameText(a.name, b.name) && a.kind == b.kind &&
                    a.element.kind == b.element.kind && a.element.scalar == b.element.scalar &&
                    a.element.heldAsFloat == b.element.heldAsFloat && a.offset == b.offset &&
                    a.countOffset == b.countOffset && a.idOffset == b.idOffset &&
                    a.count == b.count && a.dimCount == b.dimCount && a.site == b.site &&
                    SameText(a.reportName, b.reportName) &&
                    (a.element.enumType == nullptr) == (b.element.enumType == nullptr) &&
                    (a.element.structType == nullptr) == (b.element.structType == nullptr);
        for (uint32_t i = 0; same && i < a.dimCount; ++i) {
            same = a.dims[i] == b.dims[i];
        }
        if (!same) {
            m_difference = at;
        } else if (a.element.enumType != nullptr) {
            Enums(*a.element.enumType, *b.element.enumType, at);
        } else if (a.element.structType != nullptr) {
            Structs(*a.element.structType, *b.element.structType, at);
        }
    }

    std::set<std::pair<const StructDescriptor*, const StructDescriptor*>> m_compared;
    std::string m_difference;
};

std::string Stem(const std::string& file) { return file.substr(0, file.rfind('.')); }

// Every schema of schemas/, read as the library reads a run-time schema but with every `use`
// from a file, as the generator reads it.
class SchemasReadAtRunTime {
public:
    SchemasReadAtRunTime() {
        m_files.AddDirectory(ZYRA_SCHEMA_DIR);
        std::vector<std::string> names;
        EXPECT_TRUE(RuntimeSchema::ListSchemaFiles(ZYRA_SCHEMA_DIR, names));
        for (const std::string& name : names) {
            RuntimeSchema::SchemaError error;
            const SchemaNamespace* pRead =
                m_files.Read(std::string(ZYRA_SCHEMA_DIR) + "/" + name, error);
            EXPECT_NE(pRead, nullptr) << error.Text();
            if (pRead != nullptr) {
                m_read.emplace_back(Stem(name), pRead);
            }
        }
    }
    const std::vector<std::pair<std::string, const SchemaNamespace*>>& Read() const {
        return m_read;
    }

private:
    RuntimeSchema::SchemaFiles m_files{false};
    std::vector<std::pair<std::string, const SchemaNamespace*>> m_read;
};

TEST(RuntimeSchemaCrossCheck, EverySchemaReadsToTheCompiledDescriptors) {
    SchemasReadAtRunTime schemas;
    size_t compiled = 0;
    for (const CompiledNamespace* pEntry = RuntimeSchema::kCompiledNamespaces;
         pEntry->name != nullptr; ++pEntry) {
        ++compiled;
    }
    EXPECT_EQ(schemas.Read().size(), compiled);
    for (const auto& read : schemas.Read()) {
        SCOPED_TRACE(read.first);
        const CompiledNamespace* pCompiled = RuntimeSchema::FindCompiledNamespace(read.first);
        ASSERT_NE(pCompiled, nullptr);
        const SchemaNamespace& schema = *read.second;
        EXPECT_EQ(schema.names.shared, pCompiled->moduleCount == 0);
        ASSERT_EQ(schema.modules.size(), pCompiled->moduleCount);
        DescriptorComparer compare;
        for (uint32_t i = 0; i < pCompiled->moduleCount; ++i) {
            EXPECT_EQ(compare.Modules(pCompiled->modules[i](), *schema.modules[i].descriptor), "");
        }
    }
}

// Every value below `path` as "path=value" lines, walked by the descriptions reflection gives.
void Dump(const StructDescriptor& top, void* pTop, const std::string& path, std::string& out) {
    PList<ParameterParserInfo> info;
    ASSERT_TRUE(ParameterEngine::GetInfo(top, pTop, path.c_str(), info)) << path;
    for (uint32_t i = 0; i < info.Count(); ++i) {
        const ParameterParserInfo& record = info[i];
        const std::string field = (path.empty() ? "" : path + ".") + record.Name;
        if (record.IsOptional && record.Count == 0) {
            continue;  // absent
        }
        if (std::strcmp(record.TypeName, ParameterParserInfo::kStructure) != 0) {
            char value[65536] = "";
            EXPECT_TRUE(ParameterEngine::GetValue(top, pTop, field.c_str(), value, sizeof(value)))
                << field;
            out += field + "=" + value + "\n";
        } else if (record.IsArray) {
            for (uint32_t k = 0; k < record.Count; ++k) {
                Dump(top, pTop, field + "[" + std::to_string(k) + "]", out);
            }
        } else {
            Dump(top, pTop, field, out);
        }
    }
}

// Values drawn for every member by its path.
const zyra_test::ValueSource kSource{19, 0};

// A binary holding one module written from its compiled tables, read through `module`, which
// loads what the compiled tables wrote.
class ModuleBinary {
public:
    ModuleBinary(const ModuleDescriptor& compiled, unsigned int alignment)
        : m_builder(engine_test::FormatWithAlignment(alignment)) {
        std::vector<uint8_t> top =
            zyra_test::PathValueWriter(m_builder).Module(*compiled.top, kSource);
        m_id = m_builder.AddModule("module", {1, 0, 0}, 0, top);
        m_format = m_builder.FormatVersion();
        m_bytes = m_builder.Build();
        m_table.reset(new ParameterFileSymbolTable(&m_manager, VersionUnion(m_format.Word())));
        EXPECT_TRUE(symbol_table_test::LoadTable(*m_table, m_bytes, m_format, &m_modes));
    }

    // Loads the module through `module` and gives every value it answers, after checking each
    // member at the place the descriptors give it.
    std::string Values(const ModuleDescriptor& module) {
        std::vector<unsigned char> top(module.top->size);
        ParameterFileSymbolTableEntry entry;
        EXPECT_TRUE(m_table->Find(entry, m_id, true));
        EXPECT_TRUE(
            ParameterEngine::Load(*module.top, top.data(), &entry, m_table->GetAlignment()));
        EXPECT_EQ(zyra_test::CheckModule(*module.top, top.data(), kSource), "");
        std::string values;
        Dump(*module.top, top.data(), "", values);
        ParameterEngine::Unload(*module.top, top.data(), m_table.get());
        return values;
    }

private:
    binwriter::TuningBinaryBuilder m_builder;
    binwriter::Version m_format;
    uint32_t m_id = 0;
    std::vector<uint8_t> m_bytes;
    symbol_table_test::TestSetManager m_manager;
    symbol_table_test::TestModeTable m_modes{1};
    std::unique_ptr<ParameterFileSymbolTable> m_table;
};

TEST(RuntimeSchemaCrossCheck, TypedModulesAnswerAlikeThroughBothDescriptors) {
    zyra_test::LogCapture capture;
    SchemasReadAtRunTime schemas;
    size_t modules = 0;
    for (const auto& read : schemas.Read()) {
        const CompiledNamespace* pCompiled = RuntimeSchema::FindCompiledNamespace(read.first);
        ASSERT_NE(pCompiled, nullptr);
        for (uint32_t i = 0; i < pCompiled->moduleCount; ++i) {
            const ModuleDescriptor& compiled = pCompiled->modules[i]();
            SCOPED_TRACE(compiled.className);
            for (unsigned int alignment : {1u, 8u}) {
                ModuleBinary binary(compiled, alignment);
                const std::string expected = binary.Values(compiled);
                EXPECT_NE(expected, "");
                EXPECT_EQ(binary.Values(*read.second->modules[i].descriptor), expected);
            }
            ++modules;
        }
    }
    EXPECT_GT(modules, 0u);
    EXPECT_EQ(engine_test::Errors(capture), engine_test::Messages{});
}

}  // namespace
