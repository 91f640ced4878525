// A file without a name, for the parts of a sort that do not fit in memory.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace convert {

// Returns $TMPDIR, or "/tmp".
std::string temporary_folder();

// Records are written to the end, and then read once from the start. Each is stored with its
// length, in 4 bytes of the machine's order.
class temporary_file {
public:
    temporary_file() = default;
    ~temporary_file();
    temporary_file(temporary_file&& other) noexcept;
    temporary_file& operator=(temporary_file&& other) noexcept;
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;

    // Creates the file in `folder`. Returns false, with errno set, on failure. So do write() and
    // rewind().
    [[nodiscard]] bool create(const std::string& folder);
    [[nodiscard]] bool write(std::string_view record);
    // Ends writing.
    [[nodiscard]] bool rewind();

    // Reads the next record, which is valid until the next call. Returns false at the end and on
    // failure; failed() tells the two apart.
    bool read(std::string_view& record);
    bool failed() const { return m_failed; }

private:
    bool flush();
    bool fill(std::size_t wanted);

    int m_fd = -1;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;  // of the bytes that are not read
    std::size_t m_end = 0;    // of the bytes in the buffer
    bool m_failed = false;
};

}  // namespace convert
