// A fresh directory under the system's temporary folder, removed with its contents.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zyra_test {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Path of `name` inside the directory.
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    // Writes `bytes` to `name` inside the directory and returns its path.
    std::string Write(const std::string& name, const std::string& bytes) const;
    std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) const {
        return Write(name, std::string(bytes.begin(), bytes.end()));
    }

private:
    std::string m_path;
};

}  // namespace zyra_test
