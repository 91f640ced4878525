// The formats by name.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "convert/formats/row_writer.h"

namespace convert {

struct format {
    const char* name;
    bool needs_file;  // cannot be written to standard output
};

// Returns the formats, in the order of the help.
std::span<const format> formats();

// Returns the writer of a format of formats(). It writes to `sink`, which must outlive it, or, if
// the format needs a file, to the file `path`.
std::unique_ptr<row_writer> make_writer(const format& wanted, byte_sink& sink,
                                        const std::string& path);

}  // namespace convert
