// Bytes that are read once, from a file, a pipe or memory.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace convert {

class byte_source {
public:
    byte_source() = default;
    virtual ~byte_source() = default;
    byte_source(const byte_source&) = delete;
    byte_source& operator=(const byte_source&) = delete;

    // Reads at least one byte. Returns the number of bytes read, 0 at the end, or nullopt, with
    // errno set, on failure.
    virtual std::optional<std::size_t> read(std::span<char> out) = 0;
};

// Reads a descriptor, which it does not own.
class descriptor_source : public byte_source {
public:
    explicit descriptor_source(int fd) : m_fd(fd) {}
    std::optional<std::size_t> read(std::span<char> out) override;

private:
    int m_fd;
};

}  // namespace convert
