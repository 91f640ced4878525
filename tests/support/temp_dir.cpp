#include "support/temp_dir.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace support {

temp_dir::temp_dir() {
    const char* parent = ::getenv("TMPDIR");
    m_path = std::string(parent != nullptr && *parent != 0 ? parent : "/tmp") + "/quorvel-XXXXXX";
    if (::mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("can't create a directory like " + m_path);
    }
}

temp_dir::~temp_dir() {
    std::error_code ignored;  // a destructor cannot report errors
    std::filesystem::remove_all(m_path, ignored);
}

std::string temp_dir::file(std::string_view name) const { return m_path + "/" + std::string(name); }

std::string temp_dir::write(std::string_view name, std::string_view content) const {
    const std::string path = file(name);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) {
        throw std::runtime_error("can't write " + path);
    }
    return path;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("can't read " + path);
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

bool file_exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

std::vector<std::string> files_in(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace support
