// quorvel-corpus: writes the seeds of the fuzz targets.
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "corpus.h"

namespace corpus {

seed_folder::seed_folder(const std::filesystem::path& all, const std::string& target)
    : m_path(all / target) {
    std::filesystem::create_directories(m_path);
}

void seed_folder::add(const std::string& name, const bytes& content) const {
    std::ofstream file(m_path / name, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(content.data()),
               static_cast<std::streamsize>(content.size()));
    if (!file.flush()) throw std::runtime_error((m_path / name).string() + ": can't be written");
}

}  // namespace corpus

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: quorvel-corpus <folder>\n";
        return 2;
    }
    try {
        corpus::write_value_seeds(argv[1]);
        corpus::write_record_seeds(argv[1]);
        corpus::write_disk_seeds(argv[1]);
        corpus::write_program_seeds(argv[1]);
    } catch (const std::exception& failure) {
        std::cerr << "quorvel-corpus: " << failure.what() << "\n";
        return 1;
    }
    return 0;
}
