// dump: the JSON description of a binary that build reads (binary_description.h), or the
// same as "path module.field = value" lines, one a value, so that two binaries can be
// compared with diff. A module laid out by a run-time schema shows its bytes and its values.
#include "binary_description.h"
#include "commands.h"
#include "described_modes.h"

namespace zyratune {
namespace {

void WriteLines(const std::string& prefix, const Json& value, std::ostream& out) {
    if (value.is_object() && !(value.size() == 1 && value.contains("hex"))) {
        for (auto it = value.begin(); it != value.end(); ++it) {
            WriteLines(prefix + "." + it.key(), it.value(), out);
        }
    } else if (value.is_array() && !value.empty() && value.front().is_structured()) {
        for (size_t i = 0; i < value.size(); ++i) {
            WriteLines(prefix + "[" + std::to_string(i) + "]", value[i], out);
        }
    } else {
        out << prefix << " = " << value.dump() << "\n";
    }
}

}  // namespace

int Dump(const std::string& file, bool asJson, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    const Json description = DescribeBinary(binary);
    if (asJson) {
        out << description.dump(2) << "\n";
        return 0;
    }
    for (const DescribedMode& mode : DescribedModes(description, file)) {
        for (const Json& module : description[mode.pointer].value("modules", Json::array())) {
            const std::string prefix = mode.path + " " + module["name"].get<std::string>();
            if (module.contains("values")) {
                WriteLines(prefix, module["values"], out);
            } else {
                WriteLines(prefix + ".bytes", module["bytes"], out);
            }
            if (module.contains("schemaValues")) {
                WriteLines(prefix, module["schemaValues"], out);
            }
        }
    }
    return 0;
}

}  // namespace zyratune
