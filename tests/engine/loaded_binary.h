// A binary made with the writer, its symbol table, and the module instances a generated class
// creates from it.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "../parser/file/symbol_table_support.h"
#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"

namespace engine_test {

using Messages = std::vector<std::string>;

// The two layouts values come in: packed, and 8-byte slots.
inline binwriter::Version FormatWithAlignment(unsigned int alignment) {
    return alignment == 8 ? binwriter::Version{3, 0, 0} : binwriter::Version{4, 0, 0};
}

// The [ERROR] lines logged while `capture` was in scope.
inline Messages Errors(const zyra_test::LogCapture& capture) {
    return symbol_table_test::Lines(capture, "[ERROR]");
}

// Symbol table and modules of a finished binary. Instances come from the prototype of `Class`
// registered as `pName`, through its DefaultModule, as the set manager makes them.
template <typename Class>
class LoadedBinaryOf {
public:
    LoadedBinaryOf(const binwriter::TuningBinaryBuilder& builder, const char* pName)
        : m_format(builder.FormatVersion()),
          m_bytes(builder.Build()),
          m_table(&m_setManager, VersionUnion(m_format.Word())),
          m_default(new Class(pName)) {
        m_loaded = symbol_table_test::LoadTable(m_table, m_bytes, m_format, &m_modes);
        PList<ModuleData*>& modules = m_table.GetModules();
        for (uint32_t i = 0; i < modules.Count(); ++i) {
            modules[i]->SymbolTable = &m_table;
        }
    }

    bool Loaded() const { return m_loaded; }
    ParameterFileSymbolTable& Table() { return m_table; }
    DefaultModule& Default() { return m_default; }

    // The ModuleData of symbol entry `id`.
    ModuleData* Data(uint32_t id) {
        PList<ModuleData*>& modules = m_table.GetModules();
        for (uint32_t i = 0; i < modules.Count(); ++i) {
            if (modules[i]->ID == id) {
                return modules[i];
            }
        }
        return nullptr;
    }

    Class* Create(uint32_t id) {
        return static_cast<Class*>(m_default.Prototype->Create(Data(id), &m_default));
    }

private:
    symbol_table_test::TestSetManager m_setManager;
    symbol_table_test::TestModeTable m_modes{1};
    binwriter::Version m_format;
    std::vector<uint8_t> m_bytes;
    ParameterFileSymbolTable m_table;
    bool m_loaded = false;
    // Declared last: its instances unload through the table while it still stands.
    DefaultModule m_default;
};

}  // namespace engine_test
