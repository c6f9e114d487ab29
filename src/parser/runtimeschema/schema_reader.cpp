// Reads one schema file into descriptors: the line format of docs/schema-format.md, with the
// checks and the messages of the generator's parser (codegen/zyra_schema/parser.py), so that
// a schema the build accepts is accepted here and a mistake is named alike.
#include <algorithm>
#include <new>
#include <utility>

#include "parser/runtimeschema/schema_declarations.h"
#include "parser/runtimeschema/schema_descriptors.h"
#include "parser/runtimeschema/schema_layout.h"
#include "parser/runtimeschema/schema_namespace.h"
#include "parser/runtimeschema/schema_text.h"
#include "parser/runtimeschema/trigger_tree_check.h"

namespace RuntimeSchema {
namespace {

using ParameterEngine::ElementKind;
using ParameterEngine::ElementType;
using ParameterEngine::EnumDescriptor;
using ParameterEngine::EnumRange;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::ScalarType;
using ParameterEngine::StructDescriptor;

struct ScalarWord {
    const char* word;
    ScalarType type;
};

constexpr ScalarWord kScalarWords[] = {
    {"UInt8", ScalarType::UInt8}, {"UInt16", ScalarType::UInt16}, {"UInt32", ScalarType::UInt32},
    {"Int32", ScalarType::Int32}, {"UInt64", ScalarType::UInt64}, {"Int64", ScalarType::Int64},
    {"Float", ScalarType::Float}, {"Double", ScalarType::Double}, {"Boolean", ScalarType::Boolean},
};

const char* const kFamilies[] = {"tuning", "sensor", "facedetection", "bitml"};
const char* const kFlags[] = {"reflection", "trigger_tree", "clone"};

// The common sections of a tuning module begin with reservedID in every namespace, as does
// each switch of its dynamic_enable_triggers section.
const char* const kReservedIdSections[] = {"module_version",      "parameter_version",
                                           "enable_section",      "control_variables",
                                           "private_information", "control_method"};

template <size_t N>
bool OneOf(const std::string& word, const char* const (&words)[N]) {
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool SectionHasReservedId(const std::string& field, const std::string& parent) {
    return OneOf(field, kReservedIdSections) || parent == "dynamic_enable_triggersStruct";
}

const char* ShapeWord(Shape shape) {
    switch (shape) {
        case Shape::Counted: return "counted";
        case Shape::Optional: return "optional";
        case Shape::Tab: return "tab";
        case Shape::Memory: return "memory";
        default: return "single";
    }
}

bool ReadShape(const std::string& word, Shape& shape) {
    for (Shape candidate : {Shape::Counted, Shape::Optional, Shape::Tab, Shape::Memory}) {
        if (word == ShapeWord(candidate)) {
            shape = candidate;
            return true;
        }
    }
    return false;
}

std::string Join(const std::vector<std::string>& words, size_t first) {
    std::string text;
    for (size_t i = first; i < words.size(); ++i) {
        text += (i > first ? " " : "") + words[i];
    }
    return text;
}

struct ModuleLine {
    unsigned int line;
    std::vector<std::string> args;
};

class Reader {
public:
    Reader(const std::string& path, const std::string& text, const NamespaceFinder& find)
        : m_path(path), m_find(find), m_lines(SplitLines(text)), m_result(new SchemaNamespace) {
        m_result->path = path;
    }

    std::unique_ptr<SchemaNamespace> Read() {
        unsigned int line = 0;
        std::vector<std::string> tokens;
        while (NextTokens(line, tokens)) {
            const std::string& keyword = tokens[0];
            const size_t args = tokens.size() - 1;
            if (keyword == "namespace" && args == 1) {
                m_namespace = Identifier(line, tokens[1]);
                m_hasNamespace = true;
            } else if (keyword == "version" && args == 1) {
                m_version = ParseVersion(line, tokens[1]);
                m_hasVersion = true;
            } else if (keyword == "family" && args == 1 && OneOf(tokens[1], kFamilies)) {
                m_family = tokens[1];
            } else if (keyword == "flags" &&
                       std::all_of(tokens.begin() + 1, tokens.end(),
                                   [](const std::string& w) { return OneOf(w, kFlags); })) {
                ReadFlags(line, tokens);
            } else if (keyword == "module" && args >= 2) {
                m_moduleLines.push_back({line, {tokens.begin() + 1, tokens.end()}});
            } else if (keyword == "use" && args == 1) {
                m_uses.push_back(Use(line, Identifier(line, tokens[1])));
            } else if (keyword == "enum") {
                m_enums.push_back(ParseEnum(line, tokens, nullptr, m_enums));
            } else if (keyword == "struct" && args >= 1 && args <= 2) {
                ReadStructure(line, tokens);
            } else {
                Fail(line, "cannot read '" + Join(tokens, 0) + "'");
            }
        }
        return Finish();
    }

private:
    [[noreturn]] void Fail(unsigned int line, const std::string& message) const {
        throw SchemaError{m_path, line, message};
    }

    bool NextTokens(unsigned int& line, std::vector<std::string>& tokens) {
        while (m_index < m_lines.size()) {
            tokens = Words(m_lines[m_index++]);
            if (!tokens.empty()) {
                line = static_cast<unsigned int>(m_index);
                return true;
            }
        }
        return false;
    }

    unsigned int End() const { return static_cast<unsigned int>(m_lines.size()); }

    const std::string& Identifier(unsigned int line, const std::string& word) const {
        if (!IsIdentifier(word)) {
            Fail(line, "'" + word + "' is not a name");
        }
        return word;
    }

    Version ParseVersion(unsigned int line, const std::string& word) const {
        Version version{};
        std::string problem;
        if (!ReadVersion(word, version, problem)) {
            Fail(line, problem);
        }
        return version;
    }

    void ReadFlags(unsigned int line, const std::vector<std::string>& tokens) {
        // Several flags lines add up.
        for (size_t i = 1; i < tokens.size(); ++i) {
            if (!HasFlag(tokens[i])) {
                m_flags.push_back(tokens[i]);
            }
            if (tokens[i] == "reflection") {
                m_flagsLine = line;
            }
        }
    }

    bool HasFlag(const std::string& flag) const {
        return std::find(m_flags.begin(), m_flags.end(), flag) != m_flags.end();
    }

    const DeclaredNames* Use(unsigned int line, const std::string& name) {
        for (const DeclaredNames* pUsed : m_uses) {
            if (pUsed->name == name) {
                Fail(line, "'" + name + "' is used twice");
            }
        }
        SchemaError inner;
        const DeclaredNames* pUsed = m_find ? m_find(name, inner) : nullptr;
        if (pUsed == nullptr && !inner.message.empty()) {
            throw inner;
        }
        if (pUsed == nullptr) {
            Fail(line, "no schema declares namespace '" + name + "'");
        }
        if (!pUsed->shared) {
            Fail(line, "'" + name + "' registers modules; only a shared namespace is used");
        }
        return pUsed;
    }

    EnumDecl ParseEnum(unsigned int line, const std::vector<std::string>& tokens,
                       const StructDecl* pScope, const std::vector<EnumDecl>& siblings) {
        if (tokens.size() < 3) {
            Fail(line, "an enum needs a name and its values");
        }
        const std::string& name = Identifier(line, tokens[1]);
        for (const EnumDecl& sibling : siblings) {
            if (sibling.name == name) {
                Fail(line, "enum '" + name + "' declared twice");
            }
        }
        std::vector<EnumRange>& ranges = m_result->tables.List<EnumRange>();
        std::string problem;
        if (!ReadEnumValues(tokens, 2, ranges, problem)) {
            Fail(line, problem);
        }
        EnumDescriptor& descriptor = m_result->tables.Item<EnumDescriptor>();
        descriptor.name =
            m_result->tables.Text(pScope != nullptr ? pScope->cppPath + "::" + name : name);
        descriptor.ranges = ranges.data();
        descriptor.rangeCount = static_cast<uint32_t>(ranges.size());
        return {name, &descriptor};
    }

    std::unique_ptr<StructDecl> NewStructure(const std::string& name, StructDecl* pParent,
                                             bool reservedId, unsigned int line) {
        std::unique_ptr<StructDecl> structure(new StructDecl);
        structure->name = name;
        structure->cppPath = pParent != nullptr ? pParent->cppPath + "::" + name : name;
        structure->parent = pParent;
        structure->reservedId = reservedId;
        structure->line = line;
        structure->descriptor = &m_result->tables.Item<StructDescriptor>();
        structure->descriptor->name = m_result->tables.Text(structure->cppPath);
        structure->descriptor->hasReservedId = reservedId;
        structure->fields = &m_result->tables.List<FieldDescriptor>();
        return structure;
    }

    void ReadStructure(unsigned int line, const std::vector<std::string>& tokens) {
        const bool reserved = tokens.size() == 3 && tokens[2] == "reservedID";
        if (tokens.size() == 3 && !reserved) {
            Fail(line, "unknown word '" + tokens[2] + "'");
        }
        const std::string& name = Identifier(line, tokens[1]);
        if (FindStructure(name) != nullptr) {
            Fail(line, "structure '" + name + "' declared twice");
        }
        std::unique_ptr<StructDecl> structure = NewStructure(name, nullptr, reserved, line);
        ParseBody(*structure, 1);
        m_structureIndex[name] = structure.get();
        m_structures.push_back(std::move(structure));
    }

    void ParseBody(StructDecl& structure, unsigned int depth) {
        if (depth > kMaxStructureDepth) {
            Fail(structure.line,
                 "structures nest deeper than " + std::to_string(kMaxStructureDepth) + " levels");
        }
        unsigned int line = 0;
        std::vector<std::string> tokens;
        while (true) {
            if (!NextTokens(line, tokens)) {
                Fail(End(), "'" + structure.name + "' has no end");
            }
            if (tokens.size() == 1 && tokens[0] == "end") {
                // An empty section still holds its reservedID word; anything else is a mistake.
                if (structure.fields->empty() && !structure.reservedId) {
                    Fail(line, "'" + structure.name + "' has no fields");
                }
                CloseFields(structure);
                return;
            }
            if (tokens[0] == "enum") {
                structure.enums.push_back(ParseEnum(line, tokens, &structure, structure.enums));
                continue;
            }
            ParseField(structure, line, tokens, depth);
        }
    }

    static void CloseFields(StructDecl& structure) {
        structure.descriptor->fields =
            structure.fields->empty() ? nullptr : structure.fields->data();
        structure.descriptor->fieldCount = static_cast<uint32_t>(structure.fields->size());
    }

    void ParseField(StructDecl& structure, unsigned int line,
                    const std::vector<std::string>& tokens, unsigned int depth) {
        if (tokens.size() < 2) {
            Fail(line, "a field needs a name and a type");
        }
        const std::string name = Identifier(line, tokens[0]);
        if (structure.fieldNames.count(name) != 0) {
            Fail(line, "field '" + name + "' declared twice");
        }
        const std::string& typeWord = tokens[1];
        std::vector<std::string> rest(tokens.begin() + 2, tokens.end());
        size_t next = 0;
        const bool heldAsFloat = rest.size() >= 2 && rest[0] == "as" && rest[1] == "Float";
        if (heldAsFloat) {
            next = 2;
        }
        std::vector<uint64_t> dims;
        uint64_t dim = 0;
        while (next < rest.size() && IsDimension(rest[next], dim)) {
            dims.push_back(dim);
            ++next;
        }
        Shape shape = Shape::Single;
        if (next < rest.size() && ReadShape(rest[next], shape)) {
            ++next;
        }
        rest.erase(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(next));
        std::string report;
        if (shape == Shape::Counted && rest.size() == 2 && rest[0] == "reports") {
            report = Identifier(line, rest[1]);
            rest.clear();
        }
        bool reserved = rest.size() == 1 && rest[0] == "reservedID" && typeWord == "struct";
        if (!rest.empty() && !reserved) {
            Fail(line, "unknown words '" + Join(rest, 0) + "'");
        }
        if (!dims.empty() && (shape == Shape::Counted || shape == Shape::Optional)) {
            Fail(line, std::string("a ") + ShapeWord(shape) + " field has no dimensions");
        }

        ElementType element{};
        if (typeWord == "struct") {
            reserved = reserved || SectionHasReservedId(name, structure.name);
            std::unique_ptr<StructDecl> inner =
                NewStructure(name + "Struct", &structure, reserved, line);
            ParseBody(*inner, depth + 1);
            element = ParameterEngine::StructElement(*inner->descriptor);
            structure.nested.push_back(std::move(inner));
        } else if (typeWord == structure.name) {
            // A structure holds itself only through a pointer: a tree of nodes.
            if (shape != Shape::Counted) {
                Fail(line, "'" + name + "' holds its own structure, so it is counted");
            }
            element = ParameterEngine::StructElement(*structure.descriptor);
        } else {
            element = Resolve(line, typeWord, structure);
        }
        const bool scalar = element.kind == ElementKind::Scalar;
        if (heldAsFloat && !(scalar && (element.scalar == ScalarType::Int32 ||
                                        element.scalar == ScalarType::UInt32))) {
            Fail(line, "only Int32 and UInt32 are held as Float");
        }
        element.heldAsFloat = heldAsFloat;
        if (element.kind == ElementKind::String &&
            (!dims.empty() || (shape != Shape::Single && shape != Shape::Counted))) {
            Fail(line, "a String stands alone or as a counted array");
        }
        if (shape == Shape::Memory && (!dims.empty() || !scalar)) {
            Fail(line, "a memory word is a single scalar");
        }
        if (shape == Shape::Tab) {
            const bool tabName = name.size() > 4 && name.compare(name.size() - 4, 4, "_tab") == 0;
            if (!(scalar && !dims.empty() && tabName)) {
                Fail(line, "a tab field is '<name>_tab' over a fixed scalar array");
            }
            std::unique_ptr<StructDecl> wrapper =
                NewStructure(name + "Struct", &structure, false, line);
            AddField(*wrapper, name.substr(0, name.size() - 4), element, Shape::Single, dims, "",
                     line);
            CloseFields(*wrapper);
            element = ParameterEngine::StructElement(*wrapper->descriptor);
            structure.nested.push_back(std::move(wrapper));
            shape = Shape::Single;
            dims.clear();
        }
        AddField(structure, name, element, shape, dims, report, line);
    }

    static bool IsDimension(const std::string& word, uint64_t& value) {
        return word.size() >= 3 && word.front() == '[' && word.back() == ']' && word[1] != '0' &&
               ReadNumber(word.substr(1, word.size() - 2), value);
    }

    void AddField(StructDecl& structure, const std::string& name, const ElementType& element,
                  Shape shape, const std::vector<uint64_t>& dims, const std::string& report,
                  unsigned int line) {
        structure.fields->push_back(
            MakeField(name, element, shape, dims, report, m_result->tables));
        structure.fieldLines.push_back(line);
        structure.fieldNames.insert(name);
    }

    ElementType Resolve(unsigned int line, const std::string& word, const StructDecl& scope) const {
        for (const ScalarWord& scalar : kScalarWords) {
            if (word == scalar.word) {
                return ParameterEngine::ScalarElement(scalar.type);
            }
        }
        if (word == "String") {
            return ParameterEngine::StringElement();
        }
        if (word.find("::") != std::string::npos) {
            return ResolveUsed(line, word);
        }
        for (const StructDecl* pAt = &scope; pAt != nullptr; pAt = pAt->parent) {
            for (const EnumDecl& candidate : pAt->enums) {
                if (candidate.name == word) {
                    return ParameterEngine::EnumElement(*candidate.descriptor);
                }
            }
            for (const auto& candidate : pAt->nested) {
                if (candidate->name == word) {
                    return ParameterEngine::StructElement(*candidate->descriptor);
                }
            }
        }
        for (const EnumDecl& candidate : m_enums) {
            if (candidate.name == word) {
                return ParameterEngine::EnumElement(*candidate.descriptor);
            }
        }
        if (const StructDecl* pStructure = FindStructure(word)) {
            return ParameterEngine::StructElement(*pStructure->descriptor);
        }
        Fail(line, "unknown type '" + word + "' (types are declared before use)");
    }

    // `<namespace>::<Name>`: an enum or structure at the top of a used namespace.
    ElementType ResolveUsed(unsigned int line, const std::string& word) const {
        const size_t colons = word.find("::");
        const std::string namespaceName = word.substr(0, colons);
        const std::string name = word.substr(colons + 2);
        const DeclaredNames* pUsed = nullptr;
        for (const DeclaredNames* pCandidate : m_uses) {
            if (pCandidate->name == namespaceName) {
                pUsed = pCandidate;
            }
        }
        if (pUsed == nullptr) {
            Fail(line, "'" + namespaceName + "' is not used (add 'use " + namespaceName + "')");
        }
        auto foundEnum = pUsed->enums.find(name);
        if (foundEnum != pUsed->enums.end()) {
            return ParameterEngine::EnumElement(*foundEnum->second);
        }
        auto foundStructure = pUsed->structures.find(name);
        if (foundStructure != pUsed->structures.end()) {
            return ParameterEngine::StructElement(*foundStructure->second);
        }
        Fail(line, "'" + namespaceName + "' declares no '" + name + "'");
    }

    StructDecl* FindStructure(const std::string& name) const {
        auto found = m_structureIndex.find(name);
        return found != m_structureIndex.end() ? found->second : nullptr;
    }

    std::unique_ptr<SchemaNamespace> Finish() {
        if (!m_hasNamespace) {
            Fail(End(), "no namespace line");
        }
        m_result->names.name = m_namespace;
        m_result->family = m_family.empty() ? "tuning" : m_family;
        if (!m_hasVersion && m_moduleLines.empty()) {
            // A shared namespace: declarations for others, no class of its own.
            if (!m_flags.empty() || !m_family.empty()) {
                Fail(End(), "a shared namespace has no family or flags");
            }
            m_result->names.shared = true;
            LayOutAll();
            return std::move(m_result);
        }
        if (!m_hasVersion) {
            Fail(End(), "no version line");
        }
        // Only the tuning family keeps the entry ID to 24 bits, leaving the top byte of
        // ModuleID free for the change generation that a reflective SetValue counts.
        if (HasFlag("reflection") && !m_family.empty() && m_family != "tuning") {
            Fail(m_flagsLine, "only the tuning family has reflection");
        }
        std::vector<ModuleDecl> modules;
        for (const ModuleLine& moduleLine : m_moduleLines) {
            modules.push_back(ReadModuleLine(moduleLine, modules));
        }
        if (modules.empty()) {
            Fail(End(), "no module line");
        }
        if (HasFlag("reflection")) {
            // Field paths address texts and numbers, not an array of texts.
            for (StructDecl* pStructure : AllStructures(m_structures)) {
                for (size_t i = 0; i < pStructure->fields->size(); ++i) {
                    const FieldDescriptor& field = (*pStructure->fields)[i];
                    if (field.kind == FieldKind::Counted &&
                        field.element.kind == ElementKind::String) {
                        Fail(pStructure->fieldLines[i],
                             "a counted array of strings has no reflection");
                    }
                }
            }
        }
        LayOutAll();
        const bool masksModuleId = m_result->family == "tuning";
        for (const ModuleDecl& module : modules) {
            m_result->modules.push_back(
                {&MakeModule(module, masksModuleId, HasFlag("reflection"), m_result->tables),
                 module.top->line});
        }
        return std::move(m_result);
    }

    ModuleDecl ReadModuleLine(const ModuleLine& moduleLine,
                              const std::vector<ModuleDecl>& modules) {
        const unsigned int line = moduleLine.line;
        const std::vector<std::string>& args = moduleLine.args;
        StructDecl* pTop = FindStructure(args[0]);
        if (pTop == nullptr) {
            Fail(line, "unknown top structure '" + args[0] + "'");
        }
        for (const ModuleDecl& module : modules) {
            if (module.top == pTop) {
                Fail(line, "'" + pTop->name + "' is a module twice");
            }
        }
        if (pTop->reservedId) {
            Fail(line, "a top structure begins with ModuleID, not reservedID");
        }
        ModuleDecl module{pTop, {args.begin() + 1, args.end()}, m_version, false, {}};
        std::vector<std::string>& words = module.names;
        if (words.size() >= 2 && words[words.size() - 2] == "version") {
            module.version = ParseVersion(line, words.back());
            words.resize(words.size() - 2);
        }
        if (words.empty()) {
            Fail(line, "a module needs at least one name");
        }
        for (const std::string& name : words) {
            Identifier(line, name);
        }
        if (HasFlag("trigger_tree")) {
            std::string problem;
            if (!FindTriggerTree(*pTop->descriptor, module.tree, problem)) {
                Fail(line, problem);
            }
            module.hasTree = true;
        }
        pTop->top = true;
        return module;
    }

    // Lays the structures out and makes the result hand out the namespace's names.
    void LayOutAll() {
        SchemaError error;
        if (!LayOut(m_structures, m_result->tables.Text(m_namespace), m_path, error)) {
            throw error;
        }
        for (const EnumDecl& declared : m_enums) {
            m_result->names.enums.emplace(declared.name, declared.descriptor);
        }
        for (const auto& structure : m_structures) {
            m_result->names.structures.emplace(structure->name, structure->descriptor);
        }
    }

    const std::string& m_path;
    const NamespaceFinder& m_find;
    std::vector<std::string> m_lines;
    size_t m_index = 0;
    std::unique_ptr<SchemaNamespace> m_result;
    std::string m_namespace;
    bool m_hasNamespace = false;
    Version m_version{};
    bool m_hasVersion = false;
    std::string m_family;
    std::vector<std::string> m_flags;
    unsigned int m_flagsLine = 0;
    std::vector<EnumDecl> m_enums;
    std::vector<std::unique_ptr<StructDecl>> m_structures;
    std::unordered_map<std::string, StructDecl*> m_structureIndex;
    std::vector<ModuleLine> m_moduleLines;
    std::vector<const DeclaredNames*> m_uses;
};

}  // namespace

std::unique_ptr<SchemaNamespace> ReadSchema(const std::string& path, const std::string& text,
                                            const NamespaceFinder& find, SchemaError& error) {
    try {
        return Reader(path, text, find).Read();
    } catch (const SchemaError& failure) {
        error = failure;
    } catch (const std::bad_alloc&) {
        error = {path, 0, "out of memory"};
    }
    return nullptr;
}

}  // namespace RuntimeSchema
