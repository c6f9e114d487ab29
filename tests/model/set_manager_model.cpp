#include "set_manager_model.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "enginetest_1_0_0.h"
#include "log_capture.h"
#include "parser/engine/field_memory.h"
#include "parser/file/dup_obj_info.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/managers/catalogue_set_manager.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_ct_value.h"
#include "path_values.h"
#include "temp_dir.h"

namespace model {

uint32_t Choices::Below(uint32_t bound) {
    if (bound <= 1) {
        return 0;
    }
    if (m_seeded) {
        return std::uniform_int_distribution<uint32_t>(0, bound - 1)(m_random);
    }
    uint32_t value = 0;
    for (uint32_t range = 1; range < bound && m_used < m_size; range <<= 8) {
        value = (value << 8) | m_pData[m_used++];
    }
    return value % bound;
}

uint64_t Choices::Salt() {
    return (uint64_t{Below(1u << 31)} << 31) ^ Below(1u << 31) ^ 1;
}

namespace {

using enginetest_1_0_0::enginetestTypeClassPrototype;
using enginetest_1_0_0::enginetestTypeOf;
using zyra_test::CheckModule;
using zyra_test::ElementCount;
using zyra_test::PathValueWriter;
using zyra_test::SaltOf;
using zyra_test::ScalarBits;
using zyra_test::TextValue;
using ParameterEngine::FieldDescriptor;

const char* const kNames[] = {"enginetest", "enginetest_twin"};
// The values a tuner sets, above most written ones.
constexpr uint64_t kTuned = 4000000000;
const binwriter::Version kFormats[] = {{3, 1, 0}, {4, 0, 0}, {5, 0, 0}};

const ParameterEngine::StructDescriptor& Top() {
    return *enginetest_1_0_0::enginetestTypeClass::Descriptor().top;
}

const FieldDescriptor& TopField(const char* pName) {
    const ParameterEngine::StructDescriptor& top = Top();
    return *std::find_if(
        top.fields, top.fields + top.fieldCount,
        [pName](const FieldDescriptor& f) { return std::string(f.name) == pName; });
}

// The two enginetest names of one class, registered as a derived set manager registers its
// catalogue; the model looks at its state through it.
class ModelSetManager : public CatalogueSetManager {
public:
    explicit ModelSetManager(uint32_t limit)
        : CatalogueSetManager("ModelSetManager", "tuning", kModules, 2, nullptr) {
        m_maxActiveModes = limit;
        m_logDebug = false;
    }

    const ParameterFileSymbolTable* Table() const { return m_symbolTable; }
    ModeEntry* Node(uint32_t id) const { return id < m_modeCount ? m_modes[id] : nullptr; }
    uint32_t Limit() const { return std::max(m_maxActiveModes, 5u); }
    std::vector<ModeEntry*> ActiveModes() const {
        std::vector<ModeEntry*> modes;
        for (uint32_t i = 0; i < m_activeModes.Count(); ++i) {
            modes.push_back(const_cast<PList<ModeEntry*>&>(m_activeModes)[i]);
        }
        return modes;
    }
    // Every module object this set manager and its update sets keep.
    std::vector<ParameterModule*> Instances() const {
        std::vector<ParameterModule*> all(m_replacedModules.begin(), m_replacedModules.end());
        AddInstances(all);
        for (ParameterSetManager* pUpdate : m_updateSets) {
            static_cast<ModelSetManager*>(pUpdate)->AddInstances(all);
        }
        return all;
    }

protected:
    ParameterSetManager* CreateUpdateSet() override {
        return new (std::nothrow) ModelSetManager(m_maxActiveModes);
    }

private:
    void AddInstances(std::vector<ParameterModule*>& all) const {
        for (const auto& entry : m_defaultModules) {
            for (ModuleLink* pLink = entry.second->InstanceHead; pLink; pLink = pLink->Next) {
                all.push_back(pLink->Module);
            }
        }
    }

    static constexpr Registration kModules[] = {
        {"enginetest", &enginetestTypeClassPrototype, "enginetest_1_0_0", "enginetestType", 1, 0,
         0},
        {"enginetest_twin", &enginetestTypeClassPrototype, "enginetest_1_0_0", "enginetestType",
         1, 0, 0}};
};

// The shape of one binary: its mode records and its module entries in symbol table order.
struct NodeSpec {
    uint16_t mode;
    uint16_t subMode;
    int parent;
    int link;
    bool pinned;
};

struct EntrySpec {
    uint32_t node;
    uint32_t name;
    // An earlier entry whose module object this one shares, or -1.
    int sameAs;
    zyra_test::ValueSource source;
};

struct Shape {
    binwriter::Version format;
    std::vector<NodeSpec> nodes;
    std::vector<EntrySpec> entries;
};

int AddChild(Shape& shape, Choices& choices, int parent, uint16_t mode, uint32_t subModes) {
    const uint16_t subMode = static_cast<uint16_t>(choices.Below(subModes));
    for (const NodeSpec& node : shape.nodes) {
        if (node.parent == parent && node.mode == mode && node.subMode == subMode) {
            return -1;
        }
    }
    const bool pinned = shape.format.major >= 5 && choices.OneIn(6);
    shape.nodes.push_back({mode, subMode, parent, -1, pinned});
    return static_cast<int>(shape.nodes.size() - 1);
}

// Module entries for the nodes of `shape`. With `pBefore`, a node keeps most of the names it
// had there and gains few, as a new binary for a running camera does.
void AddEntries(Shape& shape, Choices& choices, const Shape* pBefore) {
    std::vector<uint64_t> groups(2 + choices.Below(3));
    for (uint64_t& group : groups) {
        group = choices.Salt();
    }
    shape.entries.clear();
    for (uint32_t node = 0; node < shape.nodes.size(); ++node) {
        for (uint32_t name = 0; name < 2 && shape.nodes[node].link < 0; ++name) {
            const bool had =
                pBefore != nullptr &&
                std::any_of(pBefore->entries.begin(), pBefore->entries.end(),
                            [&](const EntrySpec& e) { return e.node == node && e.name == name; });
            const bool present = pBefore == nullptr ? choices.Below(node == 0 ? 4 : 2) != 0
                                                    : had != choices.OneIn(8);
            if (!present) {
                continue;
            }
            EntrySpec entry{node, name, -1, {choices.Salt(), 0}};
            // Default shares only the first group, so that the others can lose all their holders.
            if (!choices.OneIn(3)) {
                const uint32_t group = choices.Below(static_cast<uint32_t>(groups.size()));
                entry.source.sharedSalt = groups[node == 0 ? 0 : group];
            }
            const size_t earlier = choices.Below(static_cast<uint32_t>(shape.entries.size()));
            if (choices.OneIn(4) && earlier < shape.entries.size() &&
                shape.entries[earlier].name == name && shape.entries[earlier].sameAs < 0) {
                entry.sameAs = static_cast<int>(earlier);
                entry.source = shape.entries[earlier].source;
            }
            shape.entries.push_back(entry);
        }
    }
}

// Default; two to four use cases; features below them; scenes below either, some of them
// links to another node.
Shape NewShape(Choices& choices) {
    Shape shape;
    shape.format = kFormats[choices.Below(3)];
    shape.nodes.push_back({0, 0, -1, -1, true});
    std::vector<int> parents;
    for (uint32_t i = 0, n = 2 + choices.Below(3); i < n; ++i) {
        parents.push_back(AddChild(shape, choices, 0, 2, 8));
    }
    for (size_t i = 0, n = parents.size(); i < n; ++i) {
        for (uint32_t k = choices.Below(3); parents[i] >= 0 && k > 0; --k) {
            parents.push_back(AddChild(shape, choices, parents[i], 3 + choices.Below(2), 8));
        }
    }
    parents.erase(std::remove(parents.begin(), parents.end(), -1), parents.end());
    const size_t firstScene = shape.nodes.size();
    for (uint32_t i = 0, n = 4 + choices.Below(20); i < n; ++i) {
        AddChild(shape, choices, parents[choices.Below(static_cast<uint32_t>(parents.size()))], 5,
                 22);
    }
    for (size_t i = firstScene; i < shape.nodes.size(); ++i) {
        if (choices.OneIn(5)) {
            int target =
                1 + static_cast<int>(choices.Below(static_cast<uint32_t>(shape.nodes.size() - 1)));
            if (target != static_cast<int>(i) && shape.nodes[target].link < 0) {
                shape.nodes[i].link = target;
            }
        }
    }
    AddEntries(shape, choices, nullptr);
    return shape;
}

std::vector<uint8_t> Build(const Shape& shape) {
    binwriter::TuningBinaryBuilder builder(shape.format);
    const auto id = [](int node) {
        return node >= 0 ? std::optional<uint32_t>(node) : std::nullopt;
    };
    for (const NodeSpec& node : shape.nodes) {
        builder.AddMode(
            {node.mode, node.subMode, id(node.parent), id(node.link), node.pinned, std::nullopt});
    }
    PathValueWriter writer(builder);
    std::vector<std::pair<uint32_t, std::vector<uint8_t>>> written;
    for (const EntrySpec& entry : shape.entries) {
        binwriter::SymbolEntry symbol;
        symbol.name = kNames[entry.name];
        symbol.version = {1, 0, 0};
        symbol.mode = entry.node;
        if (entry.sameAs >= 0) {
            symbol.data = written[entry.sameAs].second;
            symbol.duplicateId = written[entry.sameAs].first;
        } else {
            symbol.data = writer.Module(Top(), entry.source);
        }
        std::vector<uint8_t> data = symbol.data;
        written.emplace_back(builder.AddSymbol(std::move(symbol)), std::move(data));
    }
    return builder.Build();
}

// What one module object must hold: its written values, and what was set in it since.
struct Instance {
    zyra_test::ValueSource source;
    uint32_t name;
    // The node whose reference counts count it: the mode that created it.
    uint32_t owner;
    std::map<std::string, uint64_t> values;
    // Values set in the arrays it shares with the other holders of its duplicate group.
    std::shared_ptr<std::map<std::string, uint64_t>> shared;

    bool Override(const std::string& path, uint64_t& bits) const {
        const auto& set =
            source.sharedSalt != 0 && path.rfind("regions", 0) == 0 ? *shared : values;
        auto found = set.find(path);
        if (found != set.end()) {
            bits = found->second;
        }
        return found != set.end();
    }
};
using InstancePtr = std::shared_ptr<Instance>;
using NodeName = std::pair<uint32_t, uint32_t>;

// One load of a binary as the model sees it.
struct Generation {
    Shape shape;
    int id = 0;
    std::map<NodeName, InstancePtr> modules;
    std::set<uint32_t> pinned;
    std::map<NodeName, uint32_t> references;

    Generation(const Shape& loaded, int number) : shape(loaded), id(number) {
        std::map<uint64_t, std::shared_ptr<std::map<std::string, uint64_t>>> groups;
        std::vector<InstancePtr> ofEntry;
        for (const EntrySpec& entry : shape.entries) {
            InstancePtr instance = entry.sameAs >= 0 ? ofEntry[entry.sameAs] : nullptr;
            if (!instance) {
                auto& group = groups[entry.source.sharedSalt];
                if (!group || entry.source.sharedSalt == 0) {
                    group = std::make_shared<std::map<std::string, uint64_t>>();
                }
                instance = std::make_shared<Instance>(
                    Instance{entry.source, entry.name, entry.node, {}, group});
            }
            ofEntry.push_back(instance);
            modules.emplace(NodeName{entry.node, entry.name}, instance);
        }
        for (uint32_t i = 0; i < shape.nodes.size(); ++i) {
            if (i == 0 || shape.nodes[i].pinned) {
                pinned.insert(i);
            }
        }
    }

    uint32_t Target(uint32_t node) const {
        while (shape.nodes[node].link >= 0) {
            node = static_cast<uint32_t>(shape.nodes[node].link);
        }
        return node;
    }

    std::vector<uint32_t> Path(uint32_t node) const {
        std::vector<uint32_t> path;
        for (int at = static_cast<int>(node); at >= 0; at = shape.nodes[at].parent) {
            path.insert(path.begin(), static_cast<uint32_t>(at));
        }
        return path;
    }

    // The deepest holder along the path from the root to `node`.
    InstancePtr Select(uint32_t node, uint32_t name) const {
        std::vector<uint32_t> path = Path(node);
        InstancePtr choice;
        for (uint32_t step : path) {
            auto found = modules.find({Target(step), name});
            if (found != modules.end()) {
                choice = found->second;
            }
        }
        return path.size() < 2 && modules.count({0, name}) == 0 ? nullptr : choice;
    }

    // A new binary applied to this tree: each source mode and its following siblings give
    // their modules to the target of the first, a name only where the target already has it.
    void Update(Generation& source, uint32_t node) {
        for (int m = static_cast<int>(node); m >= 0 && shape.nodes[node].link < 0;
             m = NextSibling(m)) {
            for (uint32_t name = 0; name < 2; ++name) {
                auto taken = source.modules.find({static_cast<uint32_t>(m), name});
                if (taken != source.modules.end()) {
                    if (modules.count({node, name}) != 0) {
                        modules[{node, name}] = taken->second;
                    }
                    source.modules.erase(taken);
                }
            }
        }
        for (uint32_t child = 0; child < shape.nodes.size(); ++child) {
            if (shape.nodes[child].parent == static_cast<int>(node)) {
                Update(source, child);
            }
        }
    }

    int NextSibling(int node) const {
        for (size_t i = static_cast<size_t>(node) + 1; node > 0 && i < shape.nodes.size(); ++i) {
            if (shape.nodes[i].parent == shape.nodes[node].parent) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
};

struct Hold {
    ParameterModule* module;
    InstancePtr expected;
    int generation;
    // Its owning mode was unloaded by a caller: its values are no longer promised.
    bool unloaded;
};

std::vector<TuningMode> Branch(const Generation& model, uint32_t node) {
    std::vector<TuningMode> branch;
    for (uint32_t step : model.Path(node)) {
        branch.push_back({model.shape.nodes[step].mode, model.shape.nodes[step].subMode, 0});
    }
    return branch;
}

std::string PathText(const std::vector<TuningMode>& branch) {
    std::string text;
    for (const TuningMode& step : branch) {
        text += (text.empty() ? "" : "|") + std::to_string(step.Mode) + "." +
                std::to_string(step.SubMode);
    }
    return text;
}

uint64_t U32Of(const Instance& instance) {
    uint64_t bits = ScalarBits(instance.source.salt, "u32", 4);
    instance.Override("u32", bits);
    return bits;
}

class ModelRun {
public:
    ModelRun(Choices& choices, const RunOptions& options)
        : m_choices(choices),
          m_options(options),
          m_manager(options.activeLimit),
          m_model(NewShape(choices), 1) {
        m_path = m_dir.File("tuning.bin");
        WriteFile(Build(m_model.shape));
        if (!m_manager.LoadBinaryParameters(m_path.c_str())) {
            Fail("the first binary did not load");
        }
        m_table = m_manager.Table();
    }

    std::string Run() {
        if (m_options.twoThreads) {
            RunConcurrently();
        }
        for (m_step = 0; !m_options.twoThreads && m_failure.empty() && m_step < m_options.steps &&
                         !m_choices.Exhausted();
             ++m_step) {
            const bool lookup = Step();
            FollowReload();
            CheckState(lookup);
        }
        for (Hold& hold : m_holds) {
            hold.module->Release();
        }
        return m_failure;
    }

private:
    void Fail(const std::string& what) {
        if (m_failure.empty()) {
            m_failure = "step " + std::to_string(m_step) + ": " + what;
        }
    }

    void WriteFile(const std::vector<uint8_t>& binary) {
        m_dir.Write("tuning.bin", binary);
        // Each version of the file gets a time of its own, which is what tells a reader it changed.
        const timespec times[2] = {{1000000000 + 100 * ++m_writes, 0},
                                   {1000000000 + 100 * m_writes, 0}};
        utimensat(AT_FDCWD, m_path.c_str(), times, 0);
    }

    // One random operation; true when it was a lookup, which evicts what is over the limit.
    bool Step() {
        const uint32_t kind = m_choices.Below(100);
        const uint32_t node = m_choices.Below(static_cast<uint32_t>(m_model.shape.nodes.size()));
        const uint32_t name = m_choices.Below(2);
        if (kind < 25 && !m_holds.empty()) {
            Release(m_choices.Below(static_cast<uint32_t>(m_holds.size())));
        } else if (kind < 33) {
            std::vector<TuningMode> branch = Branch(m_model, node);
            m_manager.UnloadMode(branch.data(), static_cast<uint32_t>(branch.size()));
            Unloaded(m_model.Target(node));
        } else if (kind < 43) {
            ReadText(node, name);
            return true;
        } else if (kind < 48) {
            SetText(node, name);
            return true;
        } else if (kind < 50) {
            Update();
        } else if (kind < 53 && m_manager.IsFileMode()) {
            m_pending = std::make_unique<Shape>(m_pending ? *m_pending : m_model.shape);
            AddEntries(*m_pending, m_choices, &m_model.shape);
            WriteFile(Build(*m_pending));
        } else {
            Get(node, name);
            return true;
        }
        return false;
    }

    // A reload of the changed file happens at the first load that a lookup needs; a new
    // symbol table tells that it happened.
    void FollowReload() {
        if (m_manager.Table() == m_table) {
            return;
        }
        m_table = m_manager.Table();
        if (!m_pending) {
            return Fail("the binary was read again although the file did not change");
        }
        NextGeneration(*m_pending);
    }

    // A hold whose mode a caller unloaded lost its reference with it: the set manager no
    // longer knows of it, so it does not outlive its generation, and its holder forgets it.
    void NextGeneration(const Shape& shape) {
        m_model = Generation(shape, m_model.id + 1);
        m_pending.reset();
        m_holds.erase(std::remove_if(m_holds.begin(), m_holds.end(),
                                     [](const Hold& h) { return h.unloaded; }),
                      m_holds.end());
    }

    void Get(uint32_t node, uint32_t name) {
        // The caller's previous module, which GetModule gives back once it has the new one.
        std::unique_ptr<Hold> pPrevious;
        if (!m_holds.empty() && m_choices.OneIn(4)) {
            auto at = m_holds.begin() + m_choices.Below(static_cast<uint32_t>(m_holds.size()));
            pPrevious = std::make_unique<Hold>(*at);
            m_holds.erase(at);
        }
        std::vector<TuningMode> branch = Branch(m_model, node);
        ParameterModule* pModule =
            m_manager.GetModule(kNames[name], branch.data(), static_cast<uint32_t>(branch.size()),
                                pPrevious ? pPrevious->module : nullptr);
        FollowReload();
        InstancePtr expected = m_model.Select(node, name);
        if (pModule != nullptr && expected != nullptr) {
            Referenced(*expected);
            m_holds.push_back({pModule, expected, m_model.id, false});
        }
        // The previous module is given back after the new reference is taken.
        if (pPrevious) {
            Released(*pPrevious);
        }
        if ((pModule != nullptr) != (expected != nullptr)) {
            Fail(std::string("GetModule ") + kNames[name] + " at " + PathText(branch) +
                 (pModule ? " found a module the model lacks" : " found nothing"));
        }
    }

    void Release(size_t index) {
        m_holds[index].module->Release();
        Released(m_holds[index]);
        m_holds.erase(m_holds.begin() + static_cast<long>(index));
    }

    void Referenced(const Instance& instance) {
        if (m_manager.IsFileMode()) {
            ++m_model.references[{instance.owner, instance.name}];
        }
    }

    void Released(const Hold& hold) {
        uint32_t& count = m_model.references[{hold.expected->owner, hold.expected->name}];
        if (m_manager.IsFileMode() && hold.generation == m_model.id && count > 0) {
            --count;
        }
    }

    void Unloaded(uint32_t target) {
        if (!m_manager.IsFileMode() || m_model.pinned.count(target) != 0) {
            return;
        }
        for (Hold& hold : m_holds) {
            hold.unloaded |= hold.generation == m_model.id && hold.expected->owner == target;
        }
        m_model.references[{target, 0}] = m_model.references[{target, 1}] = 0;
    }

    // One field by text, as a tuning client asks for it: u32, the name, or one region's label.
    void ReadText(uint32_t node, uint32_t name) {
        std::vector<TuningMode> branch = Branch(m_model, node);
        const uint32_t what = m_choices.Below(3);
        const uint32_t region = m_choices.Below(3);
        std::string modulePath = kNames[name];
        if (what == 2) {
            modulePath += ".regions[" + std::to_string(region) + "]";
        }
        const char* pField = what == 0 ? "u32" : what == 1 ? "name" : "label";
        char text[256] = "";
        const bool read =
            m_choices.OneIn(2)
                ? m_manager.GetValue(PathText(branch).c_str(), modulePath.c_str(), pField, text,
                                     sizeof(text))
                : m_manager.GetValue(branch.data(), static_cast<uint32_t>(branch.size()),
                                     modulePath.c_str(), pField, text, sizeof(text));
        FollowReload();
        InstancePtr instance = m_model.Select(node, name);
        std::string expected;
        if (instance != nullptr) {
            Referenced(*instance);
            const uint64_t regionsSalt = SaltOf(instance->source, TopField("regions"));
            if (what == 0) {
                expected = "u32=" + std::to_string(U32Of(*instance));
            } else if (what == 1) {
                expected = "name=" + TextValue(SaltOf(instance->source, TopField("name")), "name");
            } else if (region < ElementCount(regionsSalt, "regions")) {
                expected = "label=" +
                           TextValue(regionsSalt, "regions[" + std::to_string(region) + "].label");
            }
        }
        if (read != !expected.empty() || (read && expected != text)) {
            Fail("GetValue " + modulePath + "." + pField + " at " + PathText(branch) + " gave '" +
                 text + "', expected '" + expected + "'");
        }
    }

    // u32 of the module, or the shape of its first region, which its duplicate group shares.
    void SetText(uint32_t node, uint32_t name) {
        std::vector<TuningMode> branch = Branch(m_model, node);
        const bool inRegion = m_choices.OneIn(2);
        const uint32_t shapes[] = {0, 1, 2, 7};
        const uint64_t value = inRegion ? shapes[m_choices.Below(4)] : m_choices.Below(1000000);
        const std::string modulePath = std::string(kNames[name]) + (inRegion ? ".regions[0]" : "");
        const bool set = m_manager.SetValue(branch.data(), static_cast<uint32_t>(branch.size()),
                                            modulePath.c_str(), inRegion ? "shape" : "u32",
                                            std::to_string(value).c_str());
        FollowReload();
        InstancePtr instance = m_model.Select(node, name);
        if (set != (instance != nullptr)) {
            return Fail("SetValue " + modulePath + " at " + PathText(branch) +
                        (set ? " set" : " failed"));
        }
        if (instance != nullptr) {
            Referenced(*instance);
            (inRegion && instance->source.sharedSalt != 0
                 ? *instance->shared
                 : instance->values)[inRegion ? "regions[0].shape" : "u32"] = value;
            m_model.pinned.insert(instance->owner);
        }
    }

    // In file mode the set manager first reads its file into memory, and stays in memory.
    void Update() {
        const bool fromFile = m_manager.IsFileMode();
        Shape update = m_model.shape;
        AddEntries(update, m_choices, &m_model.shape);
        m_updates.push_back(Build(update));
        std::vector<uint8_t>& binary = m_updates.back();
        if (!m_manager.UpdateBinaryParameters(binary.data(), binary.size())) {
            return Fail("UpdateBinaryParameters failed");
        }
        if (fromFile) {
            NextGeneration(m_pending ? *m_pending : m_model.shape);
            m_table = m_manager.Table();
        }
        Generation source(update, 0);
        m_model.Update(source, 0);
    }

    void CheckState(bool afterLookup) {
        for (const Hold& hold : m_holds) {
            if (hold.unloaded) {
                continue;
            }
            const void* pTop = enginetestTypeOf(hold.module);
            std::string differs = !hold.module->Loaded
                                      ? "(not loaded)"
                                      : CheckModule(Top(), pTop, hold.expected->source,
                                                    [&](const std::string& path, uint64_t& bits) {
                                                        return hold.expected->Override(path, bits);
                                                    });
            if (!differs.empty()) {
                return Fail(std::string("held ") + hold.module->Name + " differs at " + differs);
            }
        }
        if (m_manager.IsFileMode()) {
            CheckModes(afterLookup);
        }
        CheckSharedObjects();
    }

    // After a lookup at most the limit of unreferenced modes stays loaded (a release can leave
    // one more until the next lookup), and every loaded mode that may go is listed to go.
    void CheckModes(bool afterLookup) {
        std::vector<ModeEntry*> active = m_manager.ActiveModes();
        const auto idle = std::count_if(active.begin(), active.end(),
                                        [](ModeEntry* m) { return !m->IsActive(); });
        if (afterLookup && static_cast<uint32_t>(idle) > m_manager.Limit()) {
            return Fail(std::to_string(idle) + " unreferenced modes stay loaded over the limit");
        }
        for (uint32_t i = 0; i < m_model.shape.nodes.size(); ++i) {
            ModeEntry* pMode = m_manager.Node(i);
            if (pMode->Loaded && !pMode->Pinned && pMode->Mode.mode >= 2 &&
                pMode->HasLocalModules() &&
                std::find(active.begin(), active.end(), pMode) == active.end()) {
                return Fail("mode " + std::to_string(i) + " is loaded but can never be evicted");
            }
            for (uint32_t name = 0; name < 2; ++name) {
                auto found = pMode->Modules.find(kNames[name]);
                const uint32_t expected = m_model.references[{i, name}];
                if (found != pMode->Modules.end() && found->second.Module->Data->Mode == pMode &&
                    found->second.RefCount != expected) {
                    return Fail("mode " + std::to_string(i) + " counts " +
                                std::to_string(found->second.RefCount) + " references to " +
                                kNames[name] + ", expected " + std::to_string(expected));
                }
            }
        }
    }

    // Each shared object is counted once for every loaded module that holds it.
    void CheckSharedObjects() {
        std::map<std::pair<ParameterFileSymbolTable*, void*>, uint32_t> holders;
        for (ParameterModule* pModule : m_manager.Instances()) {
            if (!pModule->Loaded || pModule->Data == nullptr) {
                continue;
            }
            auto* pTop =
                reinterpret_cast<const unsigned char*>(enginetestTypeOf(pModule));
            for (const char* pField : {"name", "triggers", "regions"}) {
                if (void* pObject = ParameterEngine::GetPointer(pTop, TopField(pField).offset)) {
                    ++holders[{pModule->Data->SymbolTable, pObject}];
                }
            }
        }
        for (const auto& [object, count] : holders) {
            DupObjInfo* pInfo = object.first->FindDupObject(object.second);
            const uint32_t expected = pInfo != nullptr ? pInfo->m_refCount.load() : 1;
            if (count != expected) {
                return Fail("a shared object counts " + std::to_string(expected) + " holders, " +
                            std::to_string(count) + " modules hold it");
            }
        }
    }

    // Two clients doing lookups, releases and text reads; a tuner setting the twin's u32 by
    // path and replacing the trigger table; with `update`, a new binary swapped in halfway.
    // The clients check the enginetest modules they hold, which nothing writes, and read the
    // twin's u32 only as text, under the set manager's locks.
    void RunConcurrently() {
        const auto nodes = static_cast<uint32_t>(m_model.shape.nodes.size());
        Shape update = m_model.shape;
        AddEntries(update, m_choices, &m_model.shape);
        m_updates.push_back(Build(update));
        // In file mode the update first reads the whole file: every module is a new one.
        Generation after = m_manager.IsFileMode() ? Generation(m_model.shape, m_model.id + 1)
                                                  : m_model;
        Generation source(update, 0);
        after.Update(source, 0);
        const std::string triggers[] = {"1=1,2=2,5=5", "3=3,4=4"};
        m_manager.SetTriggerValues(triggers[0].c_str());
        std::vector<std::string> failures(3);
        std::vector<std::map<NodeName, uint32_t>> references(3);
        std::atomic<uint32_t> progress{0};
        // 1 while the update runs, 2 once it has returned.
        std::atomic<int> phase{0};
        const uint32_t seed = m_choices.Below(1u << 31);
        const auto fail = [&](uint32_t index, const std::string& what) {
            if (failures[index].empty()) {
                failures[index] = what;
            }
        };
        // What a call that began in `started` may find: the old generation's instance until
        // the update begins, the new one's once it has ended.
        const auto candidates = [&](uint32_t node, uint32_t name, int started) {
            std::vector<InstancePtr> found;
            if (started < 2) {
                found.push_back(m_model.Select(node, name));
            }
            if (phase.load() > 0) {
                found.push_back(after.Select(node, name));
            }
            return found;
        };
        auto client = [&](uint32_t index) {
            Choices choices(seed + index);
            std::vector<std::pair<ParameterModule*, InstancePtr>> holds;
            for (uint32_t step = 1; step <= m_options.steps; ++step, ++progress) {
                const uint32_t node = choices.Below(nodes);
                const uint32_t name = choices.Below(2);
                const std::vector<TuningMode> branch = Branch(m_model, node);
                const auto depth = static_cast<uint32_t>(branch.size());
                m_manager.SetControlValue(ParameterCTValue(10 * static_cast<int>(index), step));
                const int started = phase.load();
                if (choices.OneIn(3) && !holds.empty()) {
                    holds.back().first->Release();
                    holds.pop_back();
                } else if (choices.OneIn(8)) {
                    char text[64] = "";
                    m_manager.GetValue(branch.data(), depth, kNames[name], "u32", text,
                                       sizeof(text));
                    bool expected = name == 1 && std::strtoull(text + 4, nullptr, 10) >= kTuned;
                    for (const InstancePtr& c : candidates(node, name, started)) {
                        expected |= !c || text == "u32=" + std::to_string(U32Of(*c));
                    }
                    if (!expected) {
                        fail(index, "GetValue at " + PathText(branch) + " gave " + text);
                    }
                    if (InstancePtr instance = m_model.Select(node, name)) {
                        ++references[index][{instance->owner, name}];
                    }
                    m_manager.GetTriggerValues(text, sizeof(text));
                    if (text != triggers[0] && text != triggers[1]) {
                        fail(index, std::string("the trigger table reads ") + text);
                    }
                } else {
                    ParameterModule* pPrevious = nullptr;
                    if (!holds.empty() && choices.OneIn(4)) {
                        pPrevious = holds.back().first;
                        holds.pop_back();
                    }
                    ParameterModule* pModule =
                        m_manager.GetModule(kNames[name], branch.data(), depth, pPrevious);
                    InstancePtr match;
                    for (const InstancePtr& c : candidates(node, name, started)) {
                        const bool same = pModule && c && name == 0 &&
                                          CheckModule(Top(), enginetestTypeOf(pModule), c->source)
                                              .empty();
                        match = same ? c : match;
                    }
                    if (pModule && name == 0 && !match) {
                        fail(index, "GetModule at " + PathText(branch) + " found neither");
                    }
                    if (pModule) {
                        holds.emplace_back(pModule, match);
                    }
                }
                for (const auto& [pModule, instance] : holds) {
                    if (instance) {
                        std::string differs =
                            CheckModule(Top(), enginetestTypeOf(pModule), instance->source);
                        if (!differs.empty()) {
                            fail(index, std::string("held ") + pModule->Name + " differs at " +
                                            differs);
                        }
                    }
                }
            }
            for (auto& hold : holds) {
                hold.first->Release();
            }
        };
        auto tuner = [&] {
            Choices choices(seed + 2);
            for (uint32_t step = 0; step < m_options.steps / 2; ++step) {
                const uint32_t node = choices.Below(nodes);
                const std::string path = PathText(Branch(m_model, node));
                const bool set = m_manager.SetValue(path.c_str(), kNames[1], "u32",
                                                    std::to_string(kTuned + step).c_str());
                InstancePtr instance = m_model.Select(node, 1);
                if (set != (instance != nullptr)) {
                    fail(2, "SetValue at " + path + (set ? " set" : " failed"));
                }
                if (instance) {
                    ++references[2][{instance->owner, 1}];
                }
                m_manager.SetTriggerValues(triggers[step % 2].c_str());
            }
        };
        std::thread first(client, 0);
        std::thread second(client, 1);
        std::thread tuning(tuner);
        if (m_options.update) {
            // Halfway through the clients' run; they run to their end, so this wait ends.
            while (progress.load() < m_options.steps) {
                std::this_thread::yield();
            }
            phase = 1;
            std::vector<uint8_t>& binary = m_updates.back();
            if (!m_manager.UpdateBinaryParameters(binary.data(), binary.size())) {
                Fail("UpdateBinaryParameters failed");
            }
            phase = 2;
        }
        first.join();
        second.join();
        tuning.join();
        for (size_t i = 0; i < failures.size(); ++i) {
            if (!failures[i].empty()) {
                Fail("thread " + std::to_string(i) + ": " + failures[i]);
            }
            for (const auto& [key, count] : references[i]) {
                m_model.references[key] += count;
            }
        }
        char text[64] = "";
        m_manager.GetControlValues(text, sizeof(text));
        const std::string last = std::to_string(m_options.steps);
        if (text != "0=" + last + ",10=" + last) {
            Fail(std::string("the control table reads ") + text);
        }
        if (m_options.update) {
            m_model = after;
        }
        CheckState(true);
    }

    Choices& m_choices;
    RunOptions m_options;
    zyra_test::LogCapture m_log;
    zyra_test::TempDir m_dir;
    std::string m_path;
    int m_writes = 0;
    // Binaries of updates, which a set manager in memory may still read from.
    std::vector<std::vector<uint8_t>> m_updates;
    ModelSetManager m_manager;
    Generation m_model;
    // The shape of the file on disk when the set manager has not read it yet.
    std::unique_ptr<Shape> m_pending;
    const ParameterFileSymbolTable* m_table = nullptr;
    std::vector<Hold> m_holds;
    uint32_t m_step = 0;
    std::string m_failure;
};

}  // namespace

std::string RunModel(Choices& choices, const RunOptions& options) {
    ModelRun run(choices, options);
    return run.Run();
}

}  // namespace model
