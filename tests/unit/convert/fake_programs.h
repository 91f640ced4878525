// Programs that a test writes, and the folders in which they are found.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temp_dir.h"

namespace fake_programs {

// Sets $PATH and restores it at the end.
class search_path {
public:
    explicit search_path(const std::string& folders) { ::setenv("PATH", folders.c_str(), 1); }
    ~search_path() { ::setenv("PATH", m_before.c_str(), 1); }
    search_path(const search_path&) = delete;
    search_path& operator=(const search_path&) = delete;

private:
    static std::string current() {
        const char* value = std::getenv("PATH");
        return value != nullptr ? value : "";
    }

    std::string m_before = current();
};

// Writes a shell script that can be run. Returns its path.
inline std::string write_script(const support::temp_dir& dir, const std::string& name,
                                const std::string& commands) {
    const std::string path = dir.write(name, "#!/bin/sh\n" + commands + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

}  // namespace fake_programs
