"""The module class of a top structure, the same for typed and opaque classes: its
declaration, its glue to the engine, and the three functions the set managers reach it by."""

from typing import List, Optional


def class_declaration(top: str, reflection: bool = False,
                      extra: Optional[List[str]] = None,
                      members: Optional[List[str]] = None) -> List[str]:
    """`extra` declares what only some classes have, such as trigger tree or clone methods;
    `members` the private data of a class that has some."""
    name = f"{top}Class"
    reflective = [
        "    bool GetValue(const char* pPath, char* pValue, unsigned int size) override;",
        "    bool SetValue(const char* pPath, const char* pValue) override;",
        "    bool GetInfo(const char* pPath, PList<ParameterParserInfo>& info) override;",
    ] if reflection else []
    return [
        f"class {name} : public ParameterModule, public {top} {{",
        "public:",
        f"    explicit {name}(const char* pName);",
        f"    {name}(const char* pName, ModuleData* pData);",
        f"    ~{name}() override;",
        "",
        "    ParameterModule* Create(ModuleData* pData, DefaultModule* pDefault) const override;",
        "    bool LoadModule(ParameterFileSymbolTable* pTable) override;",
        "    void UnloadModule() override;",
    ] + reflective + [
        "    void Release() { ParameterModule::Release(); }",
        "",
        "    // The registered name whose short form is `pName`, or `pName` itself.",
        "    static const char* GetName(const char* pName);",
        "    // The tables the engine loads this class by.",
        "    static const ParameterEngine::ModuleDescriptor& Descriptor();",
    ] + (extra or []) + (["", "private:"] + members if members else []) + ["};"]


def top_members() -> List[str]:
    """What every top structure adds after its fields."""
    return [
        "",
        "    // Loads and changes counted by the module this structure belongs to.",
        "    ZYRA_API unsigned int GetModified() const;",
        "    // Gives the module's reference back to the set manager.",
        "    ZYRA_API void Release();",
    ]


def manager_glue_declarations(top: str) -> List[str]:
    """Declared by the namespace's header and again by each set manager's source, which sees
    the classes only through these."""
    return [
        f"// A prototype of {top}Class registered as `pName`; std::bad_alloc when memory ran out.",
        f"ParameterModule* {top}ClassPrototype(const char* pName);",
        f"ParameterModule* ModuleOf({top}* pTop);",
        f"{top}* {top}Of(ParameterModule* pModule);",
    ]


def class_definitions(top: str, load_call: str, unload_call: str,
                      reflective: str = "") -> List[str]:
    """`load_call` and `unload_call` are the engine calls of LoadModule and UnloadModule;
    `reflective` defines the reflection operations of a class that has them."""
    cls = f"{top}Class"
    return f"""
{cls}::{cls}(const char* pName) : {cls}(pName, nullptr) {{}}

{cls}::{cls}(const char* pName, ModuleData* pData)
    : ParameterModule(pName, kModule_{top}.major, kModule_{top}.minor, kModule_{top}.patch, pData),
      {top}() {{}}

{cls}::~{cls}() {{
    if (Loaded) {{
        {cls}::UnloadModule();
    }}
}}

namespace {{
ParameterModule* New{cls}(const char* pName, ModuleData* pData, uint32_t moduleId) {{
    auto* pModule = new (std::nothrow) {cls}(pName, pData);
    if (pModule != nullptr) {{
        pModule->ModuleID = moduleId;
    }}
    return pModule;
}}
}}  // namespace

ParameterModule* {cls}::Create(ModuleData* pData, DefaultModule* pDefault) const {{
    return ParameterEngine::CreateModule(*this, kModule_{top}, pData, pDefault, &New{cls});
}}

bool {cls}::LoadModule(ParameterFileSymbolTable* pTable) {{
    return {load_call};
}}

void {cls}::UnloadModule() {{
    {unload_call};
}}

const ParameterEngine::ModuleDescriptor& {cls}::Descriptor() {{ return kModule_{top}; }}

const char* {cls}::GetName(const char* pName) {{
    return ParameterEngine::RegisteredName(kModule_{top}, pName);
}}{reflective}

unsigned int {top}::GetModified() const {{ return static_cast<const {cls}*>(this)->Modified; }}

void {top}::Release() {{ static_cast<{cls}*>(this)->Release(); }}""".split("\n")


def manager_glue_definitions(top: str) -> List[str]:
    cls = f"{top}Class"
    return f"""
ParameterModule* {top}ClassPrototype(const char* pName) {{ return new {cls}(pName); }}

ParameterModule* ModuleOf({top}* pTop) {{
    return pTop != nullptr ? static_cast<{cls}*>(pTop) : nullptr;
}}

{top}* {top}Of(ParameterModule* pModule) {{
    return pModule != nullptr ? static_cast<{cls}*>(pModule) : nullptr;
}}""".split("\n")


def module_descriptor(top: str, version, names: List[str], masks_module_id: bool) -> List[str]:
    """The descriptor of an opaque class: no structure table, reflection or trigger tree."""
    major, minor, patch = version
    quoted = ", ".join(f'"{name}"' for name in names)
    return [
        f"constexpr const char* kNames_{top}[] = {{{quoted}}};",
        f'constexpr ModuleDescriptor kModule_{top}{{"{top}Class", nullptr, {major}, {minor}, '
        f"{patch}u, kNames_{top}, {len(names)}, {'true' if masks_module_id else 'false'}, "
        "false, nullptr};",
    ]
