// Binaries of random shape from the binary writer go through dump --json, build and dump --json
// again unchanged and never grow: every container version and layout, each set manager, mode
// trees with links, pins, empty and detached modes, typed modules with random values (shared or
// not, repeated names, duplicated entries, values JSON spells as text), opaque modules whose
// bytes hold entry ids, opaque modules laid out by a run-time schema (bytes, with the schema's
// values beside them), and modules that do not load. The first dump shows what the generator
// wrote; set changes one value at every module entry holding it and nowhere else, and diff
// reports exactly that.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "binwriter/byte_writer.h"
#include "binwriter/format_rules.h"
#include "binwriter/tuning_binary_builder.h"
#include "commands.h"
#include "described_modes.h"
#include "json_codec.h"
#include "log_capture.h"
#include "module_index.h"
#include "parser/setmanager/mode_names.h"
#include "parser/setmanager/module_data.h"
#include "opened_binary.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"

namespace {

using namespace ParameterEngine;
using zyratune::Json;

constexpr uint32_t kSeeds = 120;
const binwriter::Version kVersions[] = {{1, 0, 0}, {1, 0, 2}, {1, 1, 0}, {2, 0, 0}, {3, 0, 0},
                                        {3, 0, 1}, {3, 0, 2}, {4, 0, 0}, {5, 0, 0}};
const char* const kManagers[] = {"TuningSetManager", "ImageSensorModuleSetManager",
                                 "fdSetManager", "bitmlSetManager"};
// An opaque tuning class, and a layout for it that the tool reads at run time: texts and arrays
// behind pointers, which it shares with the typed modules around it.
const char* const kDescribed = "abf21_tfe";
const char* const kDescribedSchema = R"(namespace abf_2_1_0
version 2.1.0
module lumatrope_abf21Type abf21_tfe
flags reflection
use ispglobalelements

struct pointType
  level Float
  label String
end

struct lumatrope_abf21Type
  gain   Float
  curve  UInt16 [4]
  label  String
  points pointType counted
  range  ispglobalelements::trigger_pt_type
end
)";
// Few texts and small numbers, so that equal values and arrays recur.
const char* const kTexts[] = {"", "rear", "rear_wide", "tele"};
// Values that JSON has no number or string for, as the tool spells them: a text that is no
// UTF-8, a boolean word above 1 (7), infinities, the quiet NaN and a NaN with a payload.
const Json kNoText = {{"hex", "c3ff"}};
const char* const kNoNumber[] = {"inf", "-inf", "nan"};

std::string VersionText(const binwriter::Version& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

class Random {
public:
    explicit Random(uint32_t seed) : m_engine(seed) {}
    uint64_t Below(uint64_t bound) {
        return std::uniform_int_distribution<uint64_t>(0, bound - 1)(m_engine);
    }
    bool Chance(unsigned int percent) { return Below(100) < percent; }
    uint64_t Bits() { return m_engine(); }
    template <typename T>
    const T& Pick(const std::vector<T>& items) {
        return items[Below(items.size())];
    }

private:
    std::mt19937_64 m_engine;
};

// Values as DecodeStructure shows them. Arrays made before for a field come again, so that
// holders of counted ones share them.
class ValueMaker {
public:
    explicit ValueMaker(Random& random) : m_random(random) {}

    Json Structure(const StructDescriptor& type, unsigned int depth) {
        Json values = Json::object();
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            if (type.fields[i].kind != FieldKind::Memory) {
                values[type.fields[i].name] = Field(type.fields[i], depth);
            }
        }
        return values;
    }

    Json Scalar(const ElementType& element) {
        if (element.kind == ElementKind::Enum) {
            const EnumRange& range = element.enumType->ranges[m_random.Below(
                element.enumType->rangeCount)];
            const uint64_t span = std::min<uint64_t>(range.last - range.first, 3);
            return range.first + m_random.Below(span + 1);
        }
        const double real = (static_cast<double>(m_random.Below(64)) - 32) / 4;
        if (element.heldAsFloat) {
            return real;
        }
        switch (element.scalar) {
            case ScalarType::UInt8: return m_random.Below(256);
            case ScalarType::UInt16: return m_random.Below(65536);
            case ScalarType::UInt32: return m_random.Below(uint64_t{1} << 32);
            case ScalarType::Int32: return static_cast<int32_t>(m_random.Bits());
            case ScalarType::UInt64: return m_random.Bits();
            case ScalarType::Int64: return static_cast<int64_t>(m_random.Bits());
            case ScalarType::Float: return Real(real, "0x7fc00001");
            case ScalarType::Double: return Real(real / 8, "0x7ff8000000000001");
            case ScalarType::Boolean:
                return m_random.Chance(5) ? Json(7u) : Json(m_random.Chance(50));
        }
        return nullptr;
    }

    Json Text() { return m_random.Chance(5) ? kNoText : Json(kTexts[m_random.Below(4)]); }

private:
    Json Real(double number, const char* pNanWithPayload) {
        if (!m_random.Chance(5)) {
            return number;
        }
        const uint64_t special = m_random.Below(4);
        return special < 3 ? kNoNumber[special] : pNanWithPayload;
    }

    Json Element(const ElementType& element, unsigned int depth) {
        switch (element.kind) {
            case ElementKind::Struct: return Structure(*element.structType, depth);
            case ElementKind::String: return Text();
            default: return Scalar(element);
        }
    }

    // Memory fields never reach here: Structure leaves them out.
    Json Field(const FieldDescriptor& field, unsigned int depth) {
        if (field.kind == FieldKind::String) {
            return Text();
        }
        if (field.kind == FieldKind::Optional) {
            return m_random.Chance(30) ? Json(nullptr) : Element(field.element, depth + 1);
        }
        const bool counted = field.kind == FieldKind::Counted;
        if (!counted && field.count == 1 && field.dimCount == 0) {
            return Element(field.element, depth);
        }
        std::vector<Json>& made = m_arrays[&field];
        if (!made.empty() && m_random.Chance(40)) {
            return m_random.Pick(made);
        }
        const uint64_t count = !counted ? field.count : depth < 3 ? m_random.Below(3) : 0;
        Json array = Json::array();
        for (uint64_t i = 0; i < count; ++i) {
            array.push_back(Element(field.element, depth + (counted ? 1 : 0)));
        }
        made.push_back(array);
        return array;
    }

    Random& m_random;
    std::map<const FieldDescriptor*, std::vector<Json>> m_arrays;
};

// One module entry as the generator wrote it.
struct Written {
    size_t mode;
    std::string name;
    uint32_t id;
    // The entry whose instance this one is: its own, or the one it duplicates.
    uint32_t instance;
    std::vector<uint8_t> bytes;
    Json expected;
};

// A binary of random shape, and the description dump --json must give of it.
class BinaryMaker {
public:
    // `described`: the run-time layout of kDescribed.
    BinaryMaker(uint32_t seed, const StructDescriptor& described)
        : m_described(described),
          m_random(seed),
          m_values(m_random),
          m_version(kVersions[m_random.Below(std::size(kVersions))]),
          m_manager(kManagers[m_random.Below(std::size(kManagers))]),
          m_builder(m_version) {
        for (size_t i = 0; i < zyratune::kCatalogueNameCount; ++i) {
            const zyratune::CatalogueName& name = zyratune::kCatalogueNames[i];
            if (m_manager == name.manager && name.name != std::string(kDescribed)) {
                (ModuleFields(name) != nullptr ? m_typed : m_opaque).push_back(&name);
            }
        }
    }

    std::vector<uint8_t> Make() {
        m_builder.SetShareEqualValues(m_random.Chance(50));
        description = {{"version", VersionText(m_version)},
                       {"alignment", binwriter::AlignmentFor(m_version)}};
        if (binwriter::HasToolAndBinaryTag(m_version)) {
            const std::string tag = kTexts[m_random.Below(4)];
            m_builder.SetTool("generator");
            m_builder.SetBinaryTag(tag);
            description["tool"] = "generator";
            description["binaryTag"] = tag;
        }
        if (binwriter::HasFlags(m_version)) {
            const uint64_t flags = m_random.Chance(30) ? 0x10 : 0;
            m_builder.SetFlags(flags);
            description["flags"] = flags;
        }
        Modes();
        for (size_t mode = 0; mode < m_nodes.size(); ++mode) {
            for (uint64_t count = m_random.Below(4); count > 0; --count) {
                Module(mode);
            }
        }
        Assemble();
        return m_builder.Build();
    }

    Json description;
    std::vector<Written> written;
    // Paths of the modes, in the order of m_nodes, and whether a client's path reaches each.
    std::vector<std::string> paths;
    std::vector<bool> reachable;
    std::map<uint32_t, std::string> rawEntries;
    Random& random() { return m_random; }
    ValueMaker& values() { return m_values; }
    // The fields the tool knows a module of this name by: compiled, or read at run time.
    const StructDescriptor& Fields(const std::string& name) const {
        const StructDescriptor* pFields = ModuleFields(*zyratune::FindCatalogueName(name));
        return pFields != nullptr ? *pFields : m_described;
    }

private:
    // A mode record, and the modules the description shows in it.
    struct Node : binwriter::ModeRecord {
        Json modules = Json::array();
    };

    void Modes() {
        m_nodes.emplace_back();
        const uint64_t count = m_random.Below(7);
        const size_t detached = m_random.Chance(15) ? count : count + 1;
        for (size_t i = 0; i < count; ++i) {
            Node node;
            // Modes with names, one without (9), submodes with and without names.
            const uint16_t modes[] = {1, 2, 3, 4, 5, 6, 9};
            node.mode = modes[m_random.Below(7)];
            node.subMode = static_cast<uint16_t>(m_random.Below(3));
            if (i < detached) {
                node.parent = static_cast<uint32_t>(m_random.Below(m_nodes.size()));
            } else if (i > detached) {
                node.parent = static_cast<uint32_t>(m_nodes.size() - 1);
            }
            const Node* pParent = node.parent ? &m_nodes[*node.parent] : nullptr;
            if (pParent != nullptr && pParent->mode == node.mode &&
                pParent->subMode == node.subMode) {
                continue;  // readers take that for the parent itself
            }
            node.pinned = binwriter::HasModePins(m_version) && node.mode > 1 &&
                          m_random.Chance(30);
            m_nodes.push_back(node);
        }
        for (size_t i = 1; i < m_nodes.size(); ++i) {
            if (binwriter::HasModeLinks(m_version) && m_random.Chance(20)) {
                m_nodes[i].link = static_cast<uint32_t>(m_random.Below(m_nodes.size()));
            }
        }
        for (const Node& node : m_nodes) {
            m_builder.AddMode(node);
        }
    }

    static std::string ModeText(const binwriter::ModeRecord& mode) {
        const char* pMode = ModeNames::ModeName(mode.mode);
        const char* pSub = ModeNames::SubModeName(mode.mode, mode.subMode);
        const std::string name = pMode != nullptr ? pMode : std::to_string(mode.mode);
        if (mode.mode <= 1 && mode.subMode == 0) {
            return name;
        }
        return name + "." + (pSub != nullptr ? pSub : std::to_string(mode.subMode));
    }

    void Module(size_t mode) {
        Written entry{mode, "", 0, 0, {}, Json::object()};
        const unsigned int kind = static_cast<unsigned int>(m_random.Below(100));
        const bool described = m_manager == "TuningSetManager" && kind >= 55 && kind < 85;
        std::optional<uint32_t> duplicateOf;
        if (kind < 10 && binwriter::HasDuplicateIds(m_version) && !m_originals.empty()) {
            // A second entry of a module's values: the reader gives it the same instance.
            entry = written[m_random.Pick(m_originals)];
            entry.mode = mode;
            duplicateOf = entry.id;
        } else if ((kind < 55 && !m_typed.empty()) || described) {
            entry.name = described ? kDescribed : Name(mode, m_typed).name;
            const StructDescriptor& fields = Fields(entry.name);
            Json values = m_values.Structure(fields, 0);
            auto earlier = m_madeValues.find(entry.name);
            if (earlier != m_madeValues.end() && m_random.Chance(30)) {
                values = earlier->second;
            }
            m_madeValues[entry.name] = values;
            entry.bytes = zyratune::EncodeStructure(fields, values, m_builder, "generator");
            if (kind < 20 || (described && kind >= 80)) {
                // Cut short, the module cannot load and is shown as its bytes.
                entry.bytes.resize(entry.bytes.size() / 2);
            } else {
                entry.expected[described ? "schemaValues" : "values"] = values;
            }
        } else if (!m_opaque.empty()) {
            entry.name = Name(mode, m_opaque).name;
            entry.bytes = OpaqueBytes();
        } else {
            return;
        }
        const zyratune::CatalogueName& name = *zyratune::FindCatalogueName(entry.name);
        binwriter::SymbolEntry symbol;
        char type[ModuleData::kTypeLength + 1];
        symbol.name = ModuleData::GetType(type, entry.name.c_str());
        symbol.version = name.version;
        symbol.mode = static_cast<uint32_t>(mode);
        symbol.data = entry.bytes;
        symbol.duplicateId = duplicateOf;
        entry.id = m_builder.AddSymbol(std::move(symbol));
        if (!duplicateOf) {
            entry.instance = entry.id;
            m_originals.push_back(written.size());
        }
        entry.expected = Expected(name, entry.id, entry.bytes, entry.expected);
        m_nodes[mode].modules.push_back(entry.expected);
        written.push_back(std::move(entry));
    }

    // A name of the list, or the name of the mode's last module again.
    const zyratune::CatalogueName& Name(size_t mode,
                                        const std::vector<const zyratune::CatalogueName*>& list) {
        const Json& modules = m_nodes[mode].modules;
        const zyratune::CatalogueName* pLast =
            modules.empty() ? nullptr
                            : zyratune::FindCatalogueName(modules.back().value("name", ""));
        const bool again = std::find(list.begin(), list.end(), pLast) != list.end();
        return again && m_random.Chance(25) ? *pLast : *m_random.Pick(list);
    }

    // The module as dump --json shows it: its values where `loaded` has them, else its bytes,
    // and the values a run-time schema gives them.
    Json Expected(const zyratune::CatalogueName& name, uint32_t id,
                  const std::vector<uint8_t>& bytes, const Json& loaded) const {
        Json module = {{"name", name.name}};
        if (!binwriter::HasDataTable(m_version)) {
            module["id"] = id;
        }
        if (loaded.contains("values")) {
            module["values"] = loaded["values"];
            return module;
        }
        module["version"] = VersionText(name.version);
        module["reason"] = loaded.contains("schemaValues") ? "run-time schema"
                           : ModuleFields(name) != nullptr || name.name == std::string(kDescribed)
                               ? "does not load"
                               : "no schema";
        module["bytes"] = zyratune::ToHex(bytes);
        if (loaded.contains("schemaValues")) {
            module["schemaValues"] = loaded["schemaValues"];
        }
        return module;
    }

    // Words in slots, some of them ids of new entries, which may hold ids of earlier ones and
    // form duplicate groups.
    std::vector<uint8_t> OpaqueBytes() {
        binwriter::ByteWriter out(m_builder.Alignment());
        for (uint64_t words = m_random.Below(6); words > 0; --words) {
            if (m_random.Chance(50)) {
                out.Slot(m_random.Chance(50) ? m_random.Below(1000) : m_random.Bits(), 4);
                continue;
            }
            binwriter::ByteWriter data(m_builder.Alignment());
            for (uint64_t i = m_random.Below(4); i > 0; --i) {
                data.Slot(!m_rawIds.empty() && m_random.Chance(30) ? m_random.Pick(m_rawIds)
                                                                    : m_random.Bits(),
                          4);
            }
            std::optional<uint32_t> duplicateOf;
            if (!m_rawIds.empty() && binwriter::HasDuplicateIds(m_version) &&
                m_random.Chance(30)) {
                duplicateOf = m_random.Pick(m_rawIds);
            }
            const uint32_t id = m_builder.AddPointerTarget(data.Bytes(), duplicateOf);
            rawEntries[id] = zyratune::ToHex(data.Bytes());
            m_rawIds.push_back(id);
            out.Slot(id, 4);
        }
        return out.Release();
    }

    // The expected description's modes, the links named by the paths that the tool gives.
    void Assemble() {
        std::vector<size_t> order;
        description["modes"] = ModeObject(0, order);
        for (size_t i = 1; i < m_nodes.size(); ++i) {
            if (!m_nodes[i].parent) {
                description["detachedModes"].push_back(ModeObject(i, order));
            }
        }
        // The tool lists the modes in the order ModeObject visited them: depth first.
        std::vector<zyratune::DescribedMode> listed = zyratune::DescribedModes(description, "");
        paths.assign(m_nodes.size(), "");
        for (size_t i = 0; i < listed.size(); ++i) {
            paths[order[i]] = listed[i].path;
        }
        for (size_t i = 0; i < listed.size(); ++i) {
            const Node& node = m_nodes[order[i]];
            if (node.link) {
                description[listed[i].pointer]["link"] = paths[*node.link];
            }
        }
        for (size_t i = 0; i < m_nodes.size(); ++i) {
            reachable.push_back(Reachable(i));
        }
    }

    // The node and its subtree as the description shows them; `order` gets them depth first.
    Json ModeObject(size_t index, std::vector<size_t>& order) const {
        const Node& node = m_nodes[index];
        order.push_back(index);
        Json object = {{"mode", ModeText(node)}};
        if (node.link) object["link"] = nullptr;
        if (node.pinned) object["pinned"] = true;
        if (!node.modules.empty()) object["modules"] = node.modules;
        for (size_t child = index + 1; child < m_nodes.size(); ++child) {
            if (m_nodes[child].parent == index) {
                object["children"].push_back(ModeObject(child, order));
            }
        }
        return object;
    }

    // A path of named modes from the root, without links on it, twins or grouped steps, which
    // a client's lookup resolves to this very node.
    bool Reachable(size_t index) const {
        const std::string& path = paths[index];
        if (path.find('#') != std::string::npos || path.rfind("Default", 0) != 0) {
            return false;
        }
        for (std::optional<size_t> node = index; node; node = m_nodes[*node].parent) {
            const Node& at = m_nodes[*node];
            // Off the root's tree, or a step that a path groups with its parent's.
            if (at.link || ModeNames::ModeName(at.mode) == nullptr ||
                (*node != 0 && (!at.parent || m_nodes[*at.parent].mode == at.mode))) {
                return false;
            }
        }
        return true;
    }

    const StructDescriptor& m_described;
    Random m_random;
    ValueMaker m_values;
    binwriter::Version m_version;
    std::string m_manager;
    binwriter::TuningBinaryBuilder m_builder;
    std::vector<const zyratune::CatalogueName*> m_typed;
    std::vector<const zyratune::CatalogueName*> m_opaque;
    std::vector<Node> m_nodes;
    std::vector<size_t> m_originals;
    std::map<std::string, Json> m_madeValues;
    std::vector<uint32_t> m_rawIds;
};

// A number field of a module's values, outside counted arrays: a path to it, and the value.
// `values` are the module's, `pointer` leads from them to the structure walked.
struct Leaf {
    std::string path;
    Json::json_pointer pointer;
    ElementType element;
    Json value;
};

void Leaves(const StructDescriptor& type, const Json& values, const std::string& path,
            const Json::json_pointer& pointer, std::vector<Leaf>& leaves) {
    for (uint32_t i = 0; i < type.fieldCount; ++i) {
        const FieldDescriptor& field = type.fields[i];
        const std::string at = path.empty() ? field.name : path + "." + field.name;
        const Json::json_pointer to = pointer / field.name;
        const bool number = field.element.kind == ElementKind::Scalar ||
                            field.element.kind == ElementKind::Enum;
        const bool single = field.count == 1 && field.dimCount == 0;
        if (field.kind == FieldKind::Inline && single &&
            field.element.kind == ElementKind::Struct) {
            Leaves(*field.element.structType, values, at, to, leaves);
        } else if ((field.kind == FieldKind::Inline || field.kind == FieldKind::ScalarBlock) &&
                   number) {
            const std::string leaf = single ? at : at + "[0]";
            const Json::json_pointer target = single ? to : to / 0;
            if (!values[target].is_string()) {
                leaves.push_back({leaf, target, field.element, values[target]});
            }
        }
    }
}

std::string Dumped(const std::string& file) {
    std::ostringstream out;
    EXPECT_EQ(zyratune::Dump(file, true, out), 0);
    return out.str();
}

// What the description lists as entries of bytes, by id, and the description without them:
// the tool keeps every entry that bytes may point to, more than the generator made.
std::map<uint32_t, std::string> TakeEntries(Json& description) {
    std::map<uint32_t, std::string> entries;
    for (const zyratune::DescribedMode& mode : zyratune::DescribedModes(description, "")) {
        Json& object = description[mode.pointer];
        if (!object.contains("modules")) {
            continue;
        }
        for (Json& module : object["modules"]) {
            for (const Json& entry : module.value("entries", Json::array())) {
                entries[entry["id"].get<uint32_t>()] = entry["bytes"].get<std::string>();
            }
            module.erase("entries");
        }
    }
    return entries;
}

// Sets one number of a module entry that a client's path reaches through set, and checks that
// it changed at every entry holding that module's values, and nowhere else.
void EditOneValue(BinaryMaker& maker, const std::string& original, const Json& dumped,
                  const zyra_test::TempDir& directory) {
    std::vector<size_t> candidates;
    std::vector<size_t> described;
    std::vector<std::string> labels;
    std::map<std::pair<size_t, std::string>, size_t> seen;
    for (size_t i = 0; i < maker.written.size(); ++i) {
        const Written& entry = maker.written[i];
        const size_t occurrence = seen[{entry.mode, entry.name}]++;
        labels.push_back(zyratune::OccurrencePath(entry.name, occurrence));
        if (occurrence == 0 && maker.reachable[entry.mode]) {
            if (entry.expected.contains("values")) candidates.push_back(i);
            if (entry.expected.contains("schemaValues")) described.push_back(i);
        }
    }
    candidates.insert(candidates.end(), described.begin(), described.end());
    if (candidates.empty()) {
        return;
    }
    // Half of the binaries that have modules of the run-time schema change one of them.
    const Written& target = maker.written[maker.random().Pick(
        !described.empty() && maker.random().Chance(50) ? described : candidates)];
    // A module of a run-time schema is written anew from its values: its bytes and the
    // entries they reach are the writer's to choose.
    const bool rewritten = target.expected.contains("schemaValues");
    const char* const pValues = rewritten ? "schemaValues" : "values";
    std::vector<Leaf> leaves;
    Leaves(maker.Fields(target.name), target.expected[pValues], "", Json::json_pointer(),
           leaves);
    if (leaves.empty()) {
        return;
    }
    // A new number, which set takes as it is written.
    const Leaf& leaf = maker.random().Pick(leaves);
    Json value = maker.values().Scalar(leaf.element);
    for (int attempt = 0; attempt < 8 && (value == leaf.value || value.is_string()); ++attempt) {
        value = maker.values().Scalar(leaf.element);
    }
    if (value == leaf.value || value.is_string()) {
        return;
    }
    const std::string& path = maker.paths[target.mode];
    SCOPED_TRACE(path + " " + target.name + "." + leaf.path + "=" + value.dump());

    // Every entry of the same instance holds the new value; the lines come in the
    // description's order of modes and modules.
    std::vector<zyratune::DescribedMode> modes = zyratune::DescribedModes(dumped, "");
    std::map<std::string, size_t> listed;
    for (size_t i = 0; i < modes.size(); ++i) listed[modes[i].path] = i;
    // By place in the description: the line of the change, and whether set names it or it
    // shares the changed value.
    std::map<std::pair<size_t, size_t>, std::pair<std::string, bool>> changes;
    Json edited = dumped;
    std::map<size_t, size_t> position;
    for (size_t i = 0; i < maker.written.size(); ++i) {
        const Written& entry = maker.written[i];
        const size_t at = position[entry.mode]++;
        if (entry.instance != target.instance || !entry.expected.contains(pValues)) {
            continue;
        }
        const std::string& modePath = maker.paths[entry.mode];
        const Json::json_pointer module = modes[listed[modePath]].pointer / "modules" / at;
        edited[module / pValues / leaf.pointer] = value;
        changes[{listed[modePath], at}] = {modePath + " " + labels[i] + "." + leaf.path + ": " +
                                               leaf.value.dump() + " -> " + value.dump(),
                                           modePath == path && labels[i] == target.name};
    }
    std::string lines;
    std::string unmarked;
    for (const auto& [at, change] : changes) {
        lines += change.first + (change.second ? "" : " (shares the changed value)") + "\n";
        unmarked += change.first + "\n";
    }

    const std::string output = directory.File("edited.bin");
    std::ostringstream said;
    ASSERT_EQ(zyratune::Set(original, path, {target.name + "." + leaf.path + "=" + value.dump()},
                            output, said),
              0);
    EXPECT_EQ(said.str().substr(0, said.str().rfind("wrote ")), lines);
    Json after = Json::parse(Dumped(output));
    if (rewritten) {
        TakeEntries(after);
        TakeEntries(edited);
        for (const auto& [at, change] : changes) {
            const Json::json_pointer module = modes[at.first].pointer / "modules" / at.second;
            after[module / "bytes"] = nullptr;
            edited[module / "bytes"] = nullptr;
        }
    }
    EXPECT_EQ(after.dump(2), edited.dump(2));
    std::ostringstream difference;
    EXPECT_EQ(zyratune::Diff(original, output, false, difference), 1);
    EXPECT_EQ(difference.str(), unmarked);
}

TEST(ZyratuneRoundTrip, RandomBinariesComeBackUnchanged) {
    zyra_test::LogCapture quiet;  // the library's lines, which the checks do not read
    zyra_test::TempDir directory;
    zyra_test::TempDir schemas;
    schemas.Write("abf_2_1_0.schema", kDescribedSchema);
    zyratune::UseSchemaDirectories({schemas.Path()});
    TuningSetManager reader;
    ASSERT_TRUE(reader.AddSchemaDirectory(schemas.Path().c_str()));
    const StructDescriptor& described = *reader.GetSchemaLayout(kDescribed)->module->top;
    for (uint32_t seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        BinaryMaker maker(seed, described);
        const std::vector<uint8_t> bytes = maker.Make();
        const std::string original =
            directory.Write("original.bin", bytes);
        const std::string first = Dumped(original);
        Json dumped = Json::parse(first);
        const std::map<uint32_t, std::string> entries = TakeEntries(dumped);
        EXPECT_EQ(dumped.dump(1), maker.description.dump(1));
        for (const auto& [id, hex] : maker.rawEntries) {
            EXPECT_TRUE(entries.count(id) != 0 && entries.at(id) == hex) << "entry " << id;
        }

        const std::string rebuilt = directory.File("rebuilt.bin");
        std::ostringstream said;
        ASSERT_EQ(zyratune::Build(directory.Write("dumped.json", first), rebuilt, said), 0);
        const size_t size = std::stoul(said.str().substr(said.str().rfind('(') + 1));
        EXPECT_LE(size, bytes.size());
        EXPECT_EQ(Dumped(rebuilt), first);
        EditOneValue(maker, original, Json::parse(first), directory);
    }
    zyratune::UseSchemaDirectories({});
}

}  // namespace
