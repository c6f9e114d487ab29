#include "parser/runtimeschema/schema_descriptors.h"

#include <algorithm>

namespace RuntimeSchema {
namespace {

constexpr uint64_t kUInt32Max = 0xFFFFFFFF;

}  // namespace

ParameterEngine::FieldDescriptor MakeField(const std::string& name,
                                           const ParameterEngine::ElementType& element, Shape shape,
                                           const std::vector<uint64_t>& dims,
                                           const std::string& report, SchemaTables& tables) {
    using ParameterEngine::ElementKind;
    const char* pName = tables.Text(name);
    switch (shape) {
        case Shape::Counted:
            return ParameterEngine::CountedField(pName, element, 0, 0, 0, 0,
                                                 report.empty() ? nullptr : tables.Text(report));
        case Shape::Optional: return ParameterEngine::OptionalField(pName, element, 0, 0, 0);
        case Shape::Memory: return ParameterEngine::MemoryField(pName, element, 0);
        default: break;
    }
    if (element.kind == ElementKind::String) {
        return ParameterEngine::StringField(pName, 0);
    }
    if (dims.empty()) {
        return ParameterEngine::InlineField(pName, element, 0);
    }
    std::vector<uint32_t>& stored = tables.List<uint32_t>();
    uint64_t count = 1;
    for (uint64_t dim : dims) {
        stored.push_back(static_cast<uint32_t>(std::min(dim, kUInt32Max)));
        count = std::min(count * stored.back(), kUInt32Max);
    }
    // A count this large makes the structure too large, which the layout refuses.
    const auto total = static_cast<uint32_t>(count);
    const auto dimCount = static_cast<uint32_t>(stored.size());
    return element.kind == ElementKind::Scalar
               ? ParameterEngine::BlockField(pName, element, 0, total, stored.data(), dimCount)
               : ParameterEngine::InlineField(pName, element, 0, total, stored.data(), dimCount);
}

ParameterEngine::ModuleDescriptor& MakeModule(const ModuleDecl& module, bool masksModuleId,
                                              bool hasReflection, SchemaTables& tables) {
    std::vector<const char*>& names = tables.List<const char*>();
    for (const std::string& name : module.names) {
        names.push_back(tables.Text(name));
    }
    ParameterEngine::ModuleDescriptor& descriptor =
        tables.Item<ParameterEngine::ModuleDescriptor>();
    descriptor.className = tables.Text(module.top->name + "Class");
    descriptor.top = module.top->descriptor;
    descriptor.major = module.version.major;
    descriptor.minor = module.version.minor;
    descriptor.patch = module.version.patch;
    descriptor.names = names.data();
    descriptor.nameCount = static_cast<uint32_t>(names.size());
    descriptor.masksModuleId = masksModuleId;
    descriptor.hasReflection = hasReflection;
    descriptor.triggerTree = module.hasTree ? &MakeTriggerTree(module.tree, tables) : nullptr;
    return descriptor;
}

}  // namespace RuntimeSchema
