// The text helpers and the text interface of a loaded set manager. The first byte picks the
// operation, the second the size of the answer buffer; the rest is text, split at line
// breaks into the operation's arguments.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_set_manager.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/foundation/plist.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace {

// A set manager with a tree of test and enginetest modules in memory, made once: the text
// operations do not change what is loaded, only values, which any value may be.
zyra_fuzz::FuzzSetManager& LoadedManager() {
    static std::vector<uint8_t> binary = zyra_fuzz::EngineTree({5, 0, 0});
    static zyra_fuzz::FuzzSetManager* pManager = [] {
        auto* pLoaded = new zyra_fuzz::FuzzSetManager(false);
        if (!pLoaded->LoadBinaryParameters(binary.data(), binary.size())) {
            std::abort();
        }
        return pLoaded;
    }();
    return *pManager;
}

// The lines of the text, at least four of them.
std::vector<std::string> Arguments(const uint8_t* pData, size_t size) {
    std::istringstream text(std::string(reinterpret_cast<const char*>(pData), size));
    std::vector<std::string> arguments;
    for (std::string line; std::getline(text, line);) {
        arguments.push_back(line);
    }
    arguments.resize(std::max<size_t>(arguments.size(), 4));
    return arguments;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size) {
    zyra_fuzz::DropLogLines();
    if (size < 2) {
        return 0;
    }
    const uint8_t operation = pData[0];
    const unsigned int answerSize = pData[1];
    const std::vector<std::string> args = Arguments(pData + 2, size - 2);
    const char* pFirst = args[0].c_str();
    // Sized from the input so that short buffers are tried too; never empty for the helpers
    // that need a terminator.
    std::vector<char> answer(answerSize + 1);
    ParameterSetManager& manager = LoadedManager();
    bool result = false;
    switch (operation % 12) {
        case 0: {
            unsigned int index = 0;
            ParameterUtils::GetVariable(pFirst, answer.data(), index, answer.size());
            break;
        }
        case 1: {
            const double value = ParameterUtils::StringToDouble(pFirst, result);
            ParameterUtils::DoubleToString(value, answer.data(), answerSize, answerSize % 20,
                                           result);
            break;
        }
        case 2: {
            PList<TuningMode> branch;
            if (manager.GetModeBranchFromPath(pFirst, branch) && branch.Count() > 0) {
                manager.GetPathFromModeBranch(&branch[0], branch.Count(), answer.data(),
                                              answerSize);
                manager.GetModeEntry(&branch[0], branch.Count());
            }
            break;
        }
        case 3:
            ParameterSetManager::GetSubModeIndex(ParameterSetManager::GetModeIndex(pFirst),
                                                 args[1].c_str());
            break;
        case 4:
            manager.GetDialinModesString(pFirst, answer.data(), answerSize);
            break;
        case 5:
            manager.GetModeShorthand(pFirst, answer.data(), answerSize);
            break;
        case 6:
            manager.GetChildModes(pFirst, reinterpret_cast<unsigned char*>(answer.data()),
                                  answerSize);
            break;
        case 7:
            manager.GetValue(pFirst, args[1].c_str(), args[2].c_str(), answer.data(), answerSize);
            manager.GetValue(pFirst, args[1].c_str(), nullptr, answer.data(), answerSize);
            break;
        case 8:
            manager.SetValue(pFirst, args[1].c_str(), args[2].c_str(), args[3].c_str());
            break;
        case 9: {
            PList<ParameterParserInfo> info;
            manager.GetInfo(pFirst, args[1].c_str(), info);
            break;
        }
        case 10:
            manager.SetControlValues(pFirst);
            manager.GetControlValues(answer.data(), answerSize);
            break;
        case 11:
            manager.SetTriggerValues(pFirst);
            manager.GetTriggerValues(answer.data(), answerSize);
            break;
    }
    return 0;
}
