// What the symbol table tests share: a set manager to log through, a mode table, and the
// sections of a binary the writer made.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../../binwriter/expected_bytes.h"
#include "../parser_messages.h"
#include "binwriter/format_rules.h"
#include "binwriter/version.h"
#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/mode_table.h"
#include "parser/setmanager/parameter_set_manager.h"

namespace symbol_table_test {

// The smallest complete set manager: the tables only log through it and take its load lock.
class TestSetManager : public ParameterSetManager {
public:
    DefaultModule* GetDefaultModule(char*) override { return nullptr; }
    void SaveAndClearModules() override {}
    bool GetValue(const char*, const char*, const char*, char*, unsigned int) override {
        return false;
    }
    bool SetValue(const char*, const char*, const char*, const char*) override { return false; }
    bool GetInfo(const char*, const char*, PList<ParameterParserInfo>&) override {
        return false;
    }
};

// Mode ids 0 to count - 1, each a root node with mode 2 and its id as submode.
class TestModeTable : public IModeTable {
public:
    explicit TestModeTable(unsigned int count) {
        for (unsigned int id = 0; id < count; ++id) {
            m_modes.emplace_back(new ModeEntry(false, false));
            m_modes.back()->Initialize(id, 2, static_cast<unsigned short>(id), nullptr);
        }
    }
    ModeEntry* GetModeEntry(unsigned int id) override {
        return id < m_modes.size() ? m_modes[id].get() : nullptr;
    }

private:
    std::vector<std::unique_ptr<ModeEntry>> m_modes;
};

// The captured lines of one level, "[ERROR]" or "[DEBUG]", as ParserMessages gives them.
inline std::vector<std::string> Lines(const zyra_test::LogCapture& capture,
                                      const std::string& level) {
    std::vector<std::string> lines;
    for (const std::string& line : parser_test::ParserMessages(capture)) {
        if (line.compare(0, level.size(), level) == 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

// The section table of a binary the writer made, by section type.
inline std::map<uint32_t, binwriter_test::Section> SectionsOf(const std::vector<uint8_t>& binary,
                                                              const binwriter::Version& version) {
    // The header ends with the section table's offset and row count.
    const size_t headerSize = binwriter::HeaderSize(version);
    const size_t word = binwriter::AlignmentFor(version) > 4 ? binwriter::AlignmentFor(version) : 4;
    std::map<uint32_t, binwriter_test::Section> sections;
    for (const binwriter_test::Section& section :
         binwriter_test::ReadSections(binary, binwriter_test::ReadLe(binary, headerSize - 8, 4),
                                      binwriter_test::ReadLe(binary, headerSize - 4, 4), word)) {
        sections[section.type] = section;
    }
    return sections;
}

// Loads `table` with the sections of `binary`: from memory, or from `pFile` when given.
inline bool LoadTable(ParameterFileSymbolTable& table, std::vector<uint8_t>& binary,
                      const binwriter::Version& version, IModeTable* pModeTable,
                      ParameterBinaryFile* pFile = nullptr, const char* pFileName = nullptr) {
    std::map<uint32_t, binwriter_test::Section> sections = SectionsOf(binary, version);
    const binwriter_test::Section symbols = sections[0];
    const binwriter_test::Section data = sections[1];
    const binwriter_test::Section dataTable = sections[3];
    return table.Load(binary.data(), static_cast<unsigned int>(binary.size()), pFileName, pFile,
                      pFile != nullptr ? pFile->FileSize() : 0, symbols.size, symbols.offset,
                      dataTable.size, dataTable.offset, data.size, data.offset, pModeTable,
                      binwriter::AlignmentFor(version));
}

}  // namespace symbol_table_test
