// diff: where two binaries differ, from their JSON descriptions (description_diff.h). The
// exit code tells: 0 equal, 1 different, 2 a file that is no loadable binary.
#include "binary_description.h"
#include "commands.h"
#include "description_diff.h"
#include "tool_error.h"

namespace zyratune {
namespace {

constexpr int kDifferent = 1;
constexpr int kDiffBadInput = 2;

Json Describe(const std::string& file) {
    try {
        OpenedBinary binary = OpenBinary(file);
        return DescribeBinary(binary);
    } catch (const ToolError& error) {
        throw ToolError(error.what(), kDiffBadInput);
    }
}

}  // namespace

int Diff(const std::string& fileA, const std::string& fileB, bool asJson, std::ostream& out) {
    const std::vector<Difference> differences = DiffDescriptions(Describe(fileA), Describe(fileB));
    if (asJson) {
        Json list = Json::array();
        for (const Difference& difference : differences) {
            list.push_back(DifferenceJson(difference));
        }
        out << Json{{"equal", differences.empty()}, {"differences", std::move(list)}}.dump(2)
            << "\n";
    } else {
        for (const Difference& difference : differences) {
            out << DifferenceText(difference) << "\n";
        }
    }
    return differences.empty() ? 0 : kDifferent;
}

}  // namespace zyratune
