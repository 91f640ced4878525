// The seeds of the fuzz targets. Each function fills the folders of its targets; the source of a
// target documents the layout of its inputs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "support/byte_image.h"
#include "support/byte_writer.h"

namespace corpus {

using support::bytes;

// The folder of one target, in the folder of all seeds.
class seed_folder {
public:
    seed_folder(const std::filesystem::path& all, const std::string& target);
    // Throws std::runtime_error if the file cannot be written.
    void add(const std::string& name, const bytes& content) const;

private:
    std::filesystem::path m_path;
};

// A field of an input: its value and its width in bytes.
struct field {
    std::uint64_t value;
    std::size_t width;
};

// Returns the fields, then the content.
inline bytes input(std::initializer_list<field> fields, const bytes& content = {}) {
    bytes made;
    for (const field& one : fields)
        support::append(made, one.value, one.width);
    support::append(made, content);
    return made;
}

void write_value_seeds(const std::filesystem::path& all);    // run lists, LZNT1, texts, descriptors
void write_record_seeds(const std::filesystem::path& all);   // records, attributes, indexes
void write_disk_seeds(const std::filesystem::path& all);     // partition tables, VMDK files
void write_program_seeds(const std::filesystem::path& all);  // images for the whole program

}  // namespace corpus
