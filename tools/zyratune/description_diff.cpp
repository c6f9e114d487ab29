#include "description_diff.h"

#include <algorithm>
#include <map>
#include <utility>

#include "described_modes.h"

namespace zyratune {
namespace {

// The array under `key`, or an empty one.
const Json& ArrayAt(const Json& object, const char* pKey) {
    static const Json kEmpty = Json::array();
    return object.contains(pKey) && object[pKey].is_array() ? object[pKey] : kEmpty;
}

// The module entries of a mode by name, a later entry of a name as "name#2" and so on, in the
// mode's order.
std::vector<std::pair<std::string, const Json*>> ModulesOf(const Json& mode) {
    std::vector<std::pair<std::string, const Json*>> modules;
    std::map<std::string, size_t> seen;
    for (const Json& module : ArrayAt(mode, "modules")) {
        const std::string name = module.value("name", "");
        modules.emplace_back(OccurrencePath(name, seen[name]++), &module);
    }
    return modules;
}

// The items of `a` in their order, then those only `b` has: by key, or by place in the list.
template <typename Key>
std::vector<Key> Union(const std::vector<Key>& a, const std::vector<Key>& b) {
    std::vector<Key> keys = a;
    for (const Key& key : b) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            keys.push_back(key);
        }
    }
    return keys;
}

class Differ {
public:
    std::vector<Difference> Run(const Json& a, const Json& b) {
        for (const char* pKey : {"version", "alignment", "tool", "binaryTag", "flags"}) {
            const Json left = a.value(pKey, Json());
            const Json right = b.value(pKey, Json());
            if (left != right) {
                Add({"", "", pKey, Presence::Both, left, right});
            }
        }
        ListEntries(a, m_entriesA);
        ListEntries(b, m_entriesB);
        Modes(a, b);
        return std::move(m_differences);
    }

private:
    using EntryList = std::map<uint64_t, const Json*>;

    void Add(Difference difference) { m_differences.push_back(std::move(difference)); }

    // Every entry that modules given as bytes list, by id. The first module whose bytes reach
    // an entry lists it, so an entry may move to another module where nothing else changed.
    static void ListEntries(const Json& description, EntryList& entries) {
        for (const DescribedMode& mode : DescribedModes(description, "")) {
            for (const Json& module : ArrayAt(description[mode.pointer], "modules")) {
                for (const Json& entry : ArrayAt(module, "entries")) {
                    entries.emplace(entry.value("id", uint64_t{0}), &entry);
                }
            }
        }
    }

    // The entry `id` is listed with the same values by some module of the side `entries`.
    static bool ListedAlike(const EntryList& entries, uint64_t id, const Json& entry) {
        auto found = entries.find(id);
        return found != entries.end() && *found->second == entry;
    }

    void Modes(const Json& a, const Json& b) {
        std::map<std::string, const Json*> left, right;
        std::vector<std::string> leftOrder, rightOrder;
        for (const DescribedMode& mode : DescribedModes(a, "")) {
            left[mode.path] = &a[mode.pointer];
            leftOrder.push_back(mode.path);
        }
        for (const DescribedMode& mode : DescribedModes(b, "")) {
            right[mode.path] = &b[mode.pointer];
            rightOrder.push_back(mode.path);
        }
        for (const std::string& path : Union(leftOrder, rightOrder)) {
            if (left.count(path) == 0 || right.count(path) == 0) {
                Add({path, "", "", left.count(path) != 0 ? Presence::OnlyA : Presence::OnlyB,
                     nullptr, nullptr});
                continue;
            }
            const Json& modeA = *left[path];
            const Json& modeB = *right[path];
            for (const char* pKey : {"link", "pinned"}) {
                if (modeA.value(pKey, Json()) != modeB.value(pKey, Json())) {
                    Add({path, "", pKey, Presence::Both, modeA.value(pKey, Json()),
                         modeB.value(pKey, Json())});
                }
            }
            Modules(path, modeA, modeB);
        }
    }

    void Modules(const std::string& path, const Json& modeA, const Json& modeB) {
        std::map<std::string, const Json*> left, right;
        std::vector<std::string> leftOrder, rightOrder;
        for (const auto& [name, pModule] : ModulesOf(modeA)) {
            left[name] = pModule;
            leftOrder.push_back(name);
        }
        for (const auto& [name, pModule] : ModulesOf(modeB)) {
            right[name] = pModule;
            rightOrder.push_back(name);
        }
        for (const std::string& name : Union(leftOrder, rightOrder)) {
            if (left.count(name) == 0 || right.count(name) == 0) {
                Add({path, name, "", left.count(name) != 0 ? Presence::OnlyA : Presence::OnlyB,
                     nullptr, nullptr});
                continue;
            }
            const Json& a = *left[name];
            const Json& b = *right[name];
            const Json* pFieldsA = FieldValues(a);
            const Json* pFieldsB = FieldValues(b);
            if (pFieldsA != nullptr && pFieldsB != nullptr) {
                const size_t before = m_differences.size();
                Values(path, name, "", *pFieldsA, *pFieldsB);
                // Bytes a run-time schema shows as equal values may still differ where it
                // describes nothing. The entries they point to hold those values, and which
                // module lists a shared one says nothing of the binary.
                if (m_differences.size() == before && a.contains("bytes") &&
                    b.contains("bytes")) {
                    Bytes(path, name, "bytes", a.value("bytes", ""), b.value("bytes", ""));
                }
            } else if (a.contains("values") != b.contains("values")) {
                Add({path, name, "", Presence::Both, a.contains("values") ? "values" : "bytes",
                     b.contains("values") ? "values" : "bytes"});
            } else if (a.contains("bytes")) {
                if (a.value("version", Json()) != b.value("version", Json())) {
                    Add({path, name, "version", Presence::Both, a.value("version", Json()),
                         b.value("version", Json())});
                }
                Bytes(path, name, "bytes", a.value("bytes", ""), b.value("bytes", ""));
                Entries(path, name, a, b);
            }
        }
    }

    // The values of a module, or those a run-time schema shows its bytes as; null for neither.
    static const Json* FieldValues(const Json& module) {
        for (const char* pKey : {"values", "schemaValues"}) {
            if (module.contains(pKey)) {
                return &module[pKey];
            }
        }
        return nullptr;
    }

    static std::string Join(const std::string& field, const std::string& key) {
        return field.empty() ? key : field + "." + key;
    }

    void Values(const std::string& path, const std::string& name, const std::string& field,
                const Json& a, const Json& b) {
        if (a.is_object() && b.is_object()) {
            std::vector<std::string> leftKeys, rightKeys;
            for (auto it = a.begin(); it != a.end(); ++it) leftKeys.push_back(it.key());
            for (auto it = b.begin(); it != b.end(); ++it) rightKeys.push_back(it.key());
            for (const std::string& key : Union(leftKeys, rightKeys)) {
                Values(path, name, Join(field, key), a.value(key, Json()), b.value(key, Json()));
            }
        } else if (a.is_array() && b.is_array()) {
            for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
                const std::string at = field + "[" + std::to_string(i) + "]";
                if (i >= a.size() || i >= b.size()) {
                    Add({path, name, at, i < a.size() ? Presence::OnlyA : Presence::OnlyB,
                         nullptr, nullptr});
                } else {
                    Values(path, name, at, a[i], b[i]);
                }
            }
        } else if (a != b) {
            Add({path, name, field, Presence::Both, a, b});
        }
    }

    // Runs of differing bytes, and the tail that only the longer side has.
    void Bytes(const std::string& path, const std::string& name, const std::string& field,
               const std::string& a, const std::string& b) {
        const size_t common = std::min(a.size(), b.size()) / 2;
        for (size_t i = 0; i < common;) {
            if (a.compare(2 * i, 2, b, 2 * i, 2) == 0) {
                ++i;
                continue;
            }
            size_t end = i;
            while (end < common && a.compare(2 * end, 2, b, 2 * end, 2) != 0) {
                ++end;
            }
            AddRange(path, name, field, a, b, i, end);
            i = end;
        }
        if (a.size() != b.size()) {
            AddRange(path, name, field, a, b, common, std::max(a.size(), b.size()) / 2);
        }
    }

    void AddRange(const std::string& path, const std::string& name, const std::string& field,
                  const std::string& a, const std::string& b, size_t first, size_t end) {
        const std::string range =
            field + "[" + std::to_string(first) + "-" + std::to_string(end - 1) + "]";
        auto part = [&](const std::string& hex) {
            return 2 * first < hex.size() ? hex.substr(2 * first, 2 * (end - first)) : "";
        };
        Add({path, name, range, Presence::Both, part(a), part(b)});
    }

    void Entries(const std::string& path, const std::string& name, const Json& a,
                 const Json& b) {
        std::map<uint64_t, const Json*> left, right;
        std::vector<uint64_t> leftIds, rightIds;
        for (const Json& entry : ArrayAt(a, "entries")) {
            left[entry.value("id", uint64_t{0})] = &entry;
            leftIds.push_back(entry.value("id", uint64_t{0}));
        }
        for (const Json& entry : ArrayAt(b, "entries")) {
            right[entry.value("id", uint64_t{0})] = &entry;
            rightIds.push_back(entry.value("id", uint64_t{0}));
        }
        for (uint64_t id : Union(leftIds, rightIds)) {
            const std::string field = "entries[" + std::to_string(id) + "]";
            if (left.count(id) == 0 || right.count(id) == 0) {
                const bool onlyA = left.count(id) != 0;
                if (!(onlyA ? ListedAlike(m_entriesB, id, *left[id])
                            : ListedAlike(m_entriesA, id, *right[id]))) {
                    Add({path, name, field, onlyA ? Presence::OnlyA : Presence::OnlyB, nullptr,
                         nullptr});
                }
                continue;
            }
            const Json& entryA = *left[id];
            const Json& entryB = *right[id];
            if (entryA.value("duplicateId", Json()) != entryB.value("duplicateId", Json())) {
                Add({path, name, field + ".duplicateId", Presence::Both,
                     entryA.value("duplicateId", Json()), entryB.value("duplicateId", Json())});
            }
            Bytes(path, name, field + ".bytes", entryA.value("bytes", ""),
                  entryB.value("bytes", ""));
        }
    }

    std::vector<Difference> m_differences;
    EntryList m_entriesA;
    EntryList m_entriesB;
};

}  // namespace

std::vector<Difference> DiffDescriptions(const Json& a, const Json& b) {
    return Differ().Run(a, b);
}

std::string DifferenceText(const Difference& difference) {
    std::string place = difference.mode.empty() ? "header" : difference.mode;
    if (!difference.module.empty()) {
        place += " " + difference.module;
    }
    if (!difference.field.empty()) {
        place += (difference.mode.empty() || !difference.module.empty() ? "." : " ") +
                 difference.field;
    }
    switch (difference.presence) {
        case Presence::OnlyA: return place + ": only in A";
        case Presence::OnlyB: return place + ": only in B";
        case Presence::Both: break;
    }
    return place + ": " + difference.a.dump() + " -> " + difference.b.dump();
}

Json DifferenceJson(const Difference& difference) {
    Json item = {{"mode", difference.mode},
                 {"module", difference.module},
                 {"field", difference.field}};
    switch (difference.presence) {
        case Presence::OnlyA: item["only"] = "A"; break;
        case Presence::OnlyB: item["only"] = "B"; break;
        case Presence::Both:
            item["a"] = difference.a;
            item["b"] = difference.b;
            break;
    }
    return item;
}

}  // namespace zyratune
