// Every schema of schemas/ read at run time against what the build compiled from it: the
// descriptors as text, and a binary of every typed module, written from the compiled tables,
// read through both to every value written.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "../engine/loaded_binary.h"
#include "../parser/file/symbol_table_support.h"
#include "log_capture.h"
#include "parser/engine/structure_engine.h"
#include "parser/runtimeschema/compiled_namespaces.h"
#include "parser/runtimeschema/schema_files.h"
#include "path_values.h"

namespace {

using ParameterEngine::FieldDescriptor;
using ParameterEngine::ModuleDescriptor;
using ParameterEngine::StructDescriptor;
using RuntimeSchema::CompiledNamespace;
using RuntimeSchema::SchemaNamespace;

// A number list of any integral, bool or enum values.
template <typename... Values>
std::string Numbers(Values... values) {
    std::string text;
    ((text += " " + std::to_string(static_cast<long long>(values))), ...);
    return text;
}

std::string Text(const char* pText) { return pText != nullptr ? pText : "(null)"; }

// Everything a module's descriptors hold, one line a module, structure, field and enum, in
// walk order; a structure met again gives its line and is not walked again. Two graphs are
// the same when their texts are.
class DescriptorText {
public:
    std::string Module(const ModuleDescriptor& m) {
        m_text = "module " + Text(m.className) +
                 Numbers(m.major, m.minor, m.patch, m.masksModuleId, m.hasReflection);
        for (uint32_t i = 0; i < m.nameCount; ++i) {
            m_text += " " + Text(m.names[i]);
        }
        m_text += "\n";
        if (m.triggerTree != nullptr) {
            const auto& t = *m.triggerTree;
            m_text += "tree" + Numbers(t.variablesOffset, t.variableCountOffset,
                                       t.variableArrayOffset, t.rootCountOffset,
                                       t.rootArrayOffset, t.indexOffset, t.typeOffset,
                                       t.childCountOffset, t.childArrayOffset) + "\n";
            Struct(*t.node);
        }
        Struct(*m.top);
        return m_text;
    }

private:
    void Struct(const StructDescriptor& s) {
        m_text += "struct " + Text(s.name) + Numbers(s.size, s.hasReservedId, s.ownsMemory) +
                  " " + Text(s.siteSource) + "\n";
        if (!m_walked.insert(&s).second) {
            return;
        }
        for (uint32_t i = 0; i < s.fieldCount; ++i) {
            Field(s.fields[i]);
        }
    }

    void Field(const FieldDescriptor& f) {
        const ParameterEngine::ElementType& e = f.element;
        m_text += Text(f.name) + Numbers(f.kind, e.kind, e.scalar, e.heldAsFloat, f.offset,
                                         f.countOffset, f.idOffset, f.count, f.site) +
                  " " + Text(f.reportName) + " [";
        for (uint32_t i = 0; i < f.dimCount; ++i) {
            m_text += Numbers(f.dims[i]);
        }
        m_text += " ]\n";
        if (e.enumType != nullptr) {
            m_text += "enum " + Text(e.enumType->name);
            for (uint32_t i = 0; i < e.enumType->rangeCount; ++i) {
                m_text += Numbers(e.enumType->ranges[i].first, e.enumType->ranges[i].last);
            }
            m_text += "\n";
        } else if (e.structType != nullptr) {
            Struct(*e.structType);
        }
    }

    std::set<const StructDescriptor*> m_walked;
    std::string m_text;
};

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
                m_read.emplace_back(name.substr(0, name.rfind('.')), pRead);
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
        for (uint32_t i = 0; i < pCompiled->moduleCount; ++i) {
            EXPECT_EQ(DescriptorText().Module(*schema.modules[i].descriptor),
                      DescriptorText().Module(pCompiled->modules[i]()));
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

    // Loads the module through `module` and checks each member at the place the descriptors
    // give it.
    void Check(const ModuleDescriptor& module) {
        std::vector<unsigned char> top(module.top->size);
        ParameterFileSymbolTableEntry entry;
        EXPECT_TRUE(m_table->Find(entry, m_id, true));
        EXPECT_TRUE(
            ParameterEngine::Load(*module.top, top.data(), &entry, m_table->GetAlignment()));
        EXPECT_EQ(zyra_test::CheckModule(*module.top, top.data(), kSource), "");
        ParameterEngine::Unload(*module.top, top.data(), m_table.get());
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

TEST(RuntimeSchemaCrossCheck, TypedModulesLoadTheirValuesThroughBothDescriptors) {
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
                binary.Check(compiled);
                binary.Check(*read.second->modules[i].descriptor);
            }
            ++modules;
        }
    }
    EXPECT_GT(modules, 0u);
    EXPECT_EQ(engine_test::Errors(capture), engine_test::Messages{});
}

}  // namespace
