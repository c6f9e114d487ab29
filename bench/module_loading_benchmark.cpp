// Loading typed modules full of arrays, cold: image stabilisation (flat), noise filter and
// gamma curves (trigger trees of regions). Memory mode loads every module from the symbol
// table of a binary in memory; file mode opens the same binary as a file on demand and asks
// for every module, which reads each mode from the file. Each iteration also times the least
// that moving the module bytes costs: memcpy of them (memory mode) or one read of them from
// the file (file mode). The counters give the module bytes per second and `to_memcpy` or
// `to_read`, the time of the load over that of the copy or the read. Another benchmark puts
// in the load's place the least any loader that gives each array a zeroed block of its own
// must do, a ZyraCalloc and a copy for every pointer target with bytes: `calloc_copy_bytes_per_s`
// beside the load's `load_bytes_per_s` tells what the engine adds to that.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "abf_4_0_1.h"
#include "binwriter/tuning_binary_builder.h"
#include "binwriter/value_writer.h"
#include "eis_1_6_0.h"
#include "gamma_1_6_1.h"
#include "parser/engine/descriptors.h"
#include "parser/engine/module_engine.h"
#include "parser/engine/structure_engine.h"
#include "parser/file/parameter_file_symbol_table_entry.h"
#include "parser/file/symbol_table_support.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/setmanager/tuning_mode.h"
#include "temp_dir.h"
#include "tuning_set_manager.h"
#include "zyra/log.h"
#include "zyra/memory.h"

namespace {

using ParameterEngine::ElementKind;
using ParameterEngine::ElementType;
using ParameterEngine::FieldDescriptor;
using ParameterEngine::FieldKind;
using ParameterEngine::StructDescriptor;

// Elements of every counted array; trees stop below this many levels of nodes.
constexpr uint32_t kFanOut = 4;
constexpr unsigned int kTreeLevels = 3;
constexpr unsigned int kUseCases = 4;
const binwriter::Version kFormat{5, 0, 0};

// Fills any structure from its descriptor table with distinct values, and counts the module
// bytes it writes.
class ModuleFiller {
public:
    explicit ModuleFiller(binwriter::TuningBinaryBuilder& builder) : m_builder(builder) {}

    std::vector<uint8_t> Top(const StructDescriptor& type) {
        binwriter::ValueWriter out(m_builder);
        Struct(type, out, 0);
        return Counted(out.Bytes());
    }
    uint64_t ModuleBytes() const { return m_bytes; }
    const std::vector<uint32_t>& TargetSizes() const { return m_targetSizes; }

private:
    const std::vector<uint8_t>& Counted(const std::vector<uint8_t>& bytes) {
        m_bytes += bytes.size();
        return bytes;
    }
    uint32_t Target(const std::vector<uint8_t>& bytes) {
        if (!bytes.empty()) {
            m_targetSizes.push_back(static_cast<uint32_t>(bytes.size()));
        }
        return m_builder.AddPointerTarget(Counted(bytes));
    }

    std::vector<uint8_t> Scalars(uint32_t width, uint32_t count) {
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < count; ++i) {
            const uint64_t value = ++m_counter * 0x9E3779B97F4A7C15ull;
            for (uint32_t b = 0; b < width; ++b) {
                bytes.push_back(static_cast<uint8_t>(value >> (8 * b)));
            }
        }
        return bytes;
    }

    void Element(const ElementType& element, binwriter::ValueWriter& out, unsigned int depth) {
        switch (element.kind) {
            case ElementKind::Scalar:
                out.Packed(Scalars(ParameterEngine::WidthOf(element.scalar), 1));
                break;
            case ElementKind::Enum: out.U32(element.enumType->ranges[0].first); break;
            case ElementKind::Struct: Struct(*element.structType, out, depth); break;
            case ElementKind::String: out.String("text " + std::to_string(++m_counter)); break;
        }
    }

    void Struct(const StructDescriptor& type, binwriter::ValueWriter& out, unsigned int depth) {
        for (uint32_t i = 0; i < type.fieldCount; ++i) {
            const FieldDescriptor& field = type.fields[i];
            switch (field.kind) {
                case FieldKind::Inline:
                    for (uint32_t k = 0; k < field.count; ++k) {
                        Element(field.element, out, depth);
                    }
                    break;
                case FieldKind::ScalarBlock:
                    out.Packed(Scalars(ParameterEngine::WidthOf(field.element.scalar),
                                       field.count));
                    break;
                case FieldKind::String: out.String("text " + std::to_string(++m_counter)); break;
                case FieldKind::Counted: {
                    // Nodes that hold further arrays end at the last level; plain data does not.
                    const bool node = field.element.kind == ElementKind::Struct &&
                                      field.element.structType->ownsMemory;
                    const uint32_t count = node && depth + 1 >= kTreeLevels ? 0 : kFanOut;
                    binwriter::ValueWriter child(m_builder);
                    for (uint32_t k = 0; k < count; ++k) {
                        Element(field.element, child, depth + (node ? 1 : 0));
                    }
                    out.U32(count).Pointer(Target(child.Bytes()));
                    break;
                }
                case FieldKind::Optional: {
                    binwriter::ValueWriter child(m_builder);
                    Element(field.element, child, depth);
                    out.U32(1).Pointer(Target(child.Bytes()));
                    break;
                }
                case FieldKind::Memory: break;
            }
        }
    }

    binwriter::TuningBinaryBuilder& m_builder;
    uint64_t m_counter = 0;
    uint64_t m_bytes = 0;
    std::vector<uint32_t> m_targetSizes;
};

// Every name of the three classes in every use case below Default.
struct LoadingBinary {
    std::vector<uint8_t> bytes;
    uint64_t moduleBytes = 0;
    std::vector<uint32_t> targetSizes;  // of the pointer targets with bytes
    struct Module {
        std::string name;
        uint16_t useCase;
        uint32_t id;  // of its symbol entry
        const ParameterEngine::ModuleDescriptor* pClass;
    };
    std::vector<Module> modules;
};

const LoadingBinary& Binary() {
    static const LoadingBinary s_binary = [] {
        LoadingBinary binary;
        binwriter::TuningBinaryBuilder builder(kFormat);
        ModuleFiller filler(builder);
        binwriter::ModeRecord root;
        const uint32_t rootId = builder.AddMode(root);
        const ParameterEngine::ModuleDescriptor* classes[] = {
            &eis_1_6_0::lumatrope_eis16TypeClass::Descriptor(),
            &abf_4_0_1::lumatrope_abf40TypeClass::Descriptor(),
            &gamma_1_6_1::lumatrope_gamma16TypeClass::Descriptor()};
        for (uint16_t useCase = 0; useCase < kUseCases; ++useCase) {
            binwriter::ModeRecord record;
            record.mode = 2;
            record.subMode = useCase;
            record.parent = rootId;
            const uint32_t mode = builder.AddMode(record);
            for (const ParameterEngine::ModuleDescriptor* pClass : classes) {
                for (uint32_t n = 0; n < pClass->nameCount; ++n) {
                    const uint32_t id = builder.AddModule(
                        pClass->names[n], {pClass->major, pClass->minor, pClass->patch}, mode,
                        filler.Top(*pClass->top));
                    binary.modules.push_back({pClass->names[n], useCase, id, pClass});
                }
            }
        }
        binary.bytes = builder.Build();
        binary.moduleBytes = filler.ModuleBytes();
        binary.targetSizes = filler.TargetSizes();
        return binary;
    }();
    return s_binary;
}

// A tuning set manager without the live tuning server, whose log is dropped.
class LoadingSetManager : public TuningSetManager {
public:
    LoadingSetManager() {
        m_dialinEnabled = false;
        m_logDebug = false;
    }
};

void Drop(void*, uint64_t, const char*, uint32_t, const char*) {}

template <typename Work>
double Seconds(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// `work` names what was timed (the load), `move` the copy or the read it is measured against.
void SetCounters(benchmark::State& state, const std::string& work, double workSeconds,
                 const std::string& move, double moveSeconds) {
    const double bytes = static_cast<double>(state.iterations()) * Binary().moduleBytes;
    state.counters["module_bytes"] = static_cast<double>(Binary().moduleBytes);
    state.counters[work + "_bytes_per_s"] = bytes / workSeconds;
    state.counters[move + "_bytes_per_s"] = bytes / moveSeconds;
    state.counters["to_" + move] = workSeconds / moveSeconds;
}

// Memory mode, one iteration: `work` timed (it tells whether it succeeded), `undo` untimed,
// memcpy of as many bytes as the modules hold from the binary, timed, and a whole open of the
// binary in memory (header, CRC and tables, then every module), timed as `open_to_memcpy`.
// Every work meets the caches as the others leave them.
template <typename Work, typename Undo>
void MemoryModeLoop(benchmark::State& state, const std::string& name,
                    std::vector<uint8_t>& binary, Work&& work, Undo&& undo) {
    std::vector<uint8_t> copy(Binary().moduleBytes);
    double workSeconds = 0;
    double copySeconds = 0;
    double openSeconds = 0;
    for (auto _ : state) {
        bool done = false;
        workSeconds += Seconds([&] { done = work(); });
        undo();
        copySeconds += Seconds([&] {
            std::memcpy(copy.data(), binary.data(), copy.size());
            benchmark::ClobberMemory();
        });
        LoadingSetManager manager;
        openSeconds += Seconds([&] {
            done = manager.LoadBinaryParameters(binary.data(), binary.size()) && done;
        });
        if (!done) {
            state.SkipWithError("the timed work or the open failed");
            break;
        }
    }
    SetCounters(state, name, workSeconds, "memcpy", copySeconds);
    state.counters["open_to_memcpy"] = openSeconds / copySeconds;
}

// The binary's symbol table loaded from memory as an open loads it, and kept. Each iteration
// loads the top structure of every module from its entry through the engine, which is the
// typed loading alone, then gives it back.
void BM_LoadModules_MemoryMode(benchmark::State& state) {
    Zyra::Log::SetLogSink(&Drop, nullptr);
    std::vector<uint8_t> binary = Binary().bytes;
    symbol_table_test::TestSetManager setManager;
    symbol_table_test::TestModeTable modes(kUseCases + 1);
    ParameterFileSymbolTable table(&setManager, VersionUnion(kFormat.Word()));
    const bool tableLoaded = symbol_table_test::LoadTable(table, binary, kFormat, &modes);
    std::vector<std::vector<unsigned char>> tops;
    for (const auto& module : Binary().modules) {
        tops.emplace_back(module.pClass->top->size);
    }
    const auto load = [&] {
        bool loaded = tableLoaded;
        for (size_t i = 0; i < tops.size(); ++i) {
            const auto& module = Binary().modules[i];
            ParameterFileSymbolTableEntry entry;
            loaded = table.Find(entry, module.id, true) &&
                     ParameterEngine::LoadTopStructure(*module.pClass, tops[i].data(), entry,
                                                       table.GetAlignment(), nullptr) &&
                     loaded;
        }
        return loaded;
    };
    const auto unload = [&] {
        for (size_t i = 0; i < tops.size(); ++i) {
            ParameterEngine::Unload(*Binary().modules[i].pClass->top, tops[i].data(), &table);
        }
    };
    MemoryModeLoop(state, "load", binary, load, unload);
    Zyra::Log::SetLogSink(nullptr, nullptr);
}
BENCHMARK(BM_LoadModules_MemoryMode)->Unit(benchmark::kMillisecond);

// The least any loader that gives each array a zeroed block of its own must do, in the load's
// place in the same loop: a ZyraCalloc and a copy for every pointer target with bytes.
void BM_CallocCopy_MemoryMode(benchmark::State& state) {
    Zyra::Log::SetLogSink(&Drop, nullptr);
    std::vector<uint8_t> binary = Binary().bytes;
    const std::vector<uint32_t>& sizes = Binary().targetSizes;
    std::vector<void*> blocks(sizes.size());
    const auto callocCopy = [&] {
        bool allocated = true;
        const uint8_t* pSource = binary.data();
        for (size_t i = 0; i < sizes.size(); ++i) {
            blocks[i] = ZyraCalloc(1, sizes[i], kParserAllocCategory);
            allocated = blocks[i] != nullptr && allocated;
            if (blocks[i] != nullptr) {
                std::memcpy(blocks[i], pSource, sizes[i]);
            }
            pSource += sizes[i];
        }
        benchmark::ClobberMemory();
        return allocated;
    };
    const auto release = [&] {
        for (void* pBlock : blocks) {
            ZyraFree(pBlock);
        }
    };
    MemoryModeLoop(state, "calloc_copy", binary, callocCopy, release);
    Zyra::Log::SetLogSink(nullptr, nullptr);
}
BENCHMARK(BM_CallocCopy_MemoryMode)->Unit(benchmark::kMillisecond);

void BM_LoadModules_FileMode(benchmark::State& state) {
    Zyra::Log::SetLogSink(&Drop, nullptr);
    const zyra_test::TempDir directory;
    const std::vector<uint8_t>& bytes = Binary().bytes;
    const std::string path =
        directory.Write("modules.bin", bytes);
    std::vector<uint8_t> buffer(Binary().moduleBytes);
    double loadSeconds = 0;
    double readSeconds = 0;
    for (auto _ : state) {
        LoadingSetManager manager;
        unsigned int found = 0;
        loadSeconds += Seconds([&] {
            if (!manager.LoadBinaryParameters(path.c_str())) {
                return;
            }
            for (const auto& module : Binary().modules) {
                const TuningMode branch[] = {{0, 0, 0}, {2, module.useCase, 0}};
                ParameterModule* pModule =
                    manager.GetModule(module.name.c_str(), branch, 2, nullptr);
                if (pModule != nullptr) {
                    ++found;
                    pModule->Release();
                }
            }
        });
        readSeconds += Seconds([&] {
            FILE* pFile = std::fopen(path.c_str(), "rb");
            if (pFile != nullptr) {
                benchmark::DoNotOptimize(std::fread(buffer.data(), 1, buffer.size(), pFile));
                std::fclose(pFile);
            }
        });
        if (found != Binary().modules.size()) {
            state.SkipWithError("not every module loaded");
            break;
        }
    }
    Zyra::Log::SetLogSink(nullptr, nullptr);
    SetCounters(state, "load", loadSeconds, "read", readSeconds);
}
BENCHMARK(BM_LoadModules_FileMode)->Unit(benchmark::kMillisecond);

}  // namespace
