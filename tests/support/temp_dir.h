// A unique directory for the files of one test.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace support {

class temp_dir {
public:
    // Creates the directory in $TMPDIR, or in /tmp. Throws std::runtime_error on failure.
    temp_dir();
    // Deletes the directory with all its content.
    ~temp_dir();
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;

    const std::string& path() const { return m_path; }
    // Returns the path of `name` inside the directory; creates nothing.
    std::string file(std::string_view name) const;
    // Writes a file with `content` and returns its path.
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::string m_path;
};

// Returns the whole content of a file. Throws std::runtime_error if it cannot be read.
std::string read_file(const std::string& path);
bool file_exists(const std::string& path);
// Returns the names in a folder, sorted.
std::vector<std::string> files_in(const std::string& folder);

}  // namespace support
