// SPDX-License-Identifier: MIT

// A folder of a test's own, which goes with everything in it.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = std::filesystem::temp_directory_path() / "applist-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
        m_path = name;
    }
    ~ScratchFolder() { std::filesystem::remove_all(m_path); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path In(const std::string& name) const { return m_path / name; }
    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(In(name)) << text;
    }

private:
    std::filesystem::path m_path;
};
