#include "json_input.h"

#include <vector>

#include "opened_binary.h"
#include "tool_error.h"

namespace zyratune {
namespace {

// The path of the value being parsed, kept up to date from the parser's events.
class PathTracker {
public:
    bool Event(Json::parse_event_t event, const Json& parsed) {
        switch (event) {
            case Json::parse_event_t::object_start: m_frames.push_back({false, 0, ""}); break;
            case Json::parse_event_t::array_start: m_frames.push_back({true, 0, ""}); break;
            case Json::parse_event_t::key: m_frames.back().key = parsed.get<std::string>(); break;
            case Json::parse_event_t::object_end:
            case Json::parse_event_t::array_end:
                m_frames.pop_back();
                Completed();
                break;
            case Json::parse_event_t::value: Completed(); break;
        }
        return true;
    }

    std::string Path() const {
        std::string path;
        for (const Frame& frame : m_frames) {
            if (frame.array) {
                path += "[" + std::to_string(frame.index) + "]";
            } else if (!frame.key.empty()) {
                path += (path.empty() ? "" : ".") + frame.key;
            }
        }
        return path;
    }

private:
    struct Frame {
        bool array;
        size_t index;
        std::string key;
    };

    void Completed() {
        if (!m_frames.empty() && m_frames.back().array) {
            ++m_frames.back().index;
        }
    }

    std::vector<Frame> m_frames;
};

// The JSON library's messages start with its own exception name in brackets.
std::string WithoutPrefix(const std::string& message) {
    const size_t bracket = message.find("] ");
    return bracket == std::string::npos ? message : message.substr(bracket + 2);
}

}  // namespace

Json ReadJsonFile(const std::string& path) {
    const std::vector<uint8_t> bytes = ReadFile(path);
    PathTracker tracker;
    try {
        return Json::parse(bytes.begin(), bytes.end(),
                           [&](int, Json::parse_event_t event, Json& parsed) {
                               return tracker.Event(event, parsed);
                           });
    } catch (const Json::parse_error& error) {
        const std::string where = tracker.Path();
        throw ToolError(path + ": " + (where.empty() ? "" : where + ": ") +
                        WithoutPrefix(error.what()));
    }
}

}  // namespace zyratune
