#include "convert/listing/byte_source.h"

#include <unistd.h>

#include <cerrno>

namespace convert {

std::optional<std::size_t> descriptor_source::read(std::span<char> out) {
    for (;;) {
        const ssize_t taken = ::read(m_fd, out.data(), out.size());
        if (taken >= 0) return static_cast<std::size_t>(taken);
        if (errno != EINTR) return std::nullopt;
    }
}

}  // namespace convert
