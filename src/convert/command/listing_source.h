// Where the listing comes from: a run of quorvel, or a file.
#pragma once

#include <memory>
#include <string>

#include "convert/command/command_line.h"
#include "convert/listing/byte_source.h"
#include "convert/process/child_process.h"

namespace convert {

class listing_source {
public:
    listing_source() = default;
    ~listing_source();
    listing_source(const listing_source&) = delete;
    listing_source& operator=(const listing_source&) = delete;

    // Opens the file or starts quorvel. Returns what failed, or an empty text.
    std::string open(const command_line& line);
    // Opens a file only.
    std::string open_file(const std::string& path);

    // Valid after open() or open_file() has succeeded.
    byte_source& bytes() { return *m_bytes; }
    // The name for messages.
    const std::string& name() const { return m_name; }

    // Ends the run of quorvel. Returns how it failed, or an empty text. Does nothing when called
    // again.
    std::string finish();

private:
    std::string start_quorvel(const std::vector<std::string>& user_words);

    std::string m_name;
    std::unique_ptr<byte_source> m_bytes;
    child_process m_quorvel;
    bool m_running = false;
    int m_fd = -1;  // of the file
};

}  // namespace convert
