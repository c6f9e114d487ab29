// What the symbol table tests share: a set manager to log through, a mode table, bytes put
// together by hand, and the sections of a binary the writer made.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

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

// Little-endian bytes put together by hand, independent of the writer.
class Bytes {
public:
    Bytes& U32(uint32_t value) { return Word(value, 4); }
    Bytes& U64(uint64_t value) { return Word(value, 8); }
    Bytes& Word(uint64_t value, unsigned int width) {
        for (unsigned int i = 0; i < width; ++i) {
            m_bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
    // `text` in a field of `width` bytes, zero-filled.
    Bytes& Text(const std::string& text, unsigned int width) {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        return Fill(width - static_cast<unsigned int>(text.size()), 0);
    }
    Bytes& Fill(unsigned int count, uint8_t value) {
        m_bytes.insert(m_bytes.end(), count, value);
        return *this;
    }
    Bytes& Append(const std::vector<uint8_t>& bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
        return *this;
    }
    unsigned int Size() const { return static_cast<unsigned int>(m_bytes.size()); }
    std::vector<uint8_t>& Data() { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
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

struct Section {
    uint32_t offset = 0;
    uint32_t size = 0;
};

// The section table of a binary the writer made, by section type.
inline std::map<uint32_t, Section> SectionsOf(const std::vector<uint8_t>& binary,
                                              const binwriter::Version& version) {
    auto word = [&](size_t at) {
        return static_cast<uint32_t>(binary[at]) | static_cast<uint32_t>(binary[at + 1]) << 8 |
               static_cast<uint32_t>(binary[at + 2]) << 16 |
               static_cast<uint32_t>(binary[at + 3]) << 24;
    };
    // The header ends with the section table's offset and row count.
    size_t headerSize = binwriter::HeaderSize(version);
    uint32_t tableOffset = word(headerSize - 8);
    uint32_t count = word(headerSize - 4);
    size_t step = binwriter::AlignmentFor(version) > 4 ? binwriter::AlignmentFor(version) : 4;
    std::map<uint32_t, Section> sections;
    for (uint32_t row = 0; row < count; ++row) {
        size_t at = tableOffset + row * 3 * step;
        sections[word(at)] = Section{word(at + step), word(at + 2 * step)};
    }
    return sections;
}

// Loads `table` with the sections of `binary`: from memory, or from `pFile` when given.
inline bool LoadTable(ParameterFileSymbolTable& table, std::vector<uint8_t>& binary,
                      const binwriter::Version& version, IModeTable* pModeTable,
                      ParameterBinaryFile* pFile = nullptr, const char* pFileName = nullptr) {
    std::map<uint32_t, Section> sections = SectionsOf(binary, version);
    Section symbols = sections[0];
    Section data = sections[1];
    Section dataTable = sections[3];
    return table.Load(binary.data(), static_cast<unsigned int>(binary.size()), pFileName, pFile,
                      pFile != nullptr ? pFile->FileSize() : 0, symbols.size, symbols.offset,
                      dataTable.size, dataTable.offset, data.size, data.offset, pModeTable,
                      binwriter::AlignmentFor(version));
}

}  // namespace symbol_table_test
