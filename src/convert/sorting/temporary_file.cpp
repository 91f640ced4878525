#include "convert/sorting/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace convert {

namespace {

constexpr std::size_t buffer_size = std::size_t{256} << 10;
constexpr std::size_t length_size = sizeof(std::uint32_t);

}  // namespace

std::string temporary_folder() {
    const char* folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

temporary_file::~temporary_file() {
    if (m_fd >= 0) ::close(m_fd);
}

temporary_file::temporary_file(temporary_file&& other) noexcept { *this = std::move(other); }

temporary_file& temporary_file::operator=(temporary_file&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    std::swap(m_buffer, other.m_buffer);
    std::swap(m_begin, other.m_begin);
    std::swap(m_end, other.m_end);
    std::swap(m_failed, other.m_failed);
    return *this;
}

bool temporary_file::create(const std::string& folder) {
    std::string name = folder + "/quorvel-convert-XXXXXX";
    m_fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_fd < 0) return false;
    ::unlink(name.c_str());  // the space is freed when the descriptor is closed
    m_buffer.resize(buffer_size);
    return true;
}

bool temporary_file::flush() {
    while (m_begin < m_end) {
        const ssize_t count = ::write(m_fd, m_buffer.data() + m_begin, m_end - m_begin);
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) m_begin += static_cast<std::size_t>(count);
    }
    m_begin = m_end = 0;
    return true;
}

bool temporary_file::write(std::string_view record) {
    const std::size_t needed = length_size + record.size();
    if (m_buffer.size() - m_end < needed) {
        if (!flush()) return false;
        if (m_buffer.size() < needed) m_buffer.resize(needed);
    }
    const auto length = static_cast<std::uint32_t>(record.size());
    std::memcpy(m_buffer.data() + m_end, &length, length_size);
    std::copy(record.begin(), record.end(), m_buffer.data() + m_end + length_size);
    m_end += needed;
    return true;
}

bool temporary_file::rewind() {
    if (!flush()) return false;
    // Many files are read at the same time, and few are written.
    m_buffer.clear();
    m_buffer.shrink_to_fit();
    return ::lseek(m_fd, 0, SEEK_SET) == 0;
}

// Makes at least `wanted` bytes available. Returns false if the file ends first or cannot be read.
bool temporary_file::fill(std::size_t wanted) {
    if (m_end - m_begin >= wanted) return true;
    std::move(m_buffer.data() + m_begin, m_buffer.data() + m_end, m_buffer.data());
    m_end -= m_begin;
    m_begin = 0;
    m_buffer.resize(std::max({m_buffer.size(), wanted, buffer_size}));
    while (m_end < wanted) {
        const ssize_t count = ::read(m_fd, m_buffer.data() + m_end, m_buffer.size() - m_end);
        if (count < 0 && errno == EINTR) continue;
        m_failed = m_failed || count < 0;
        if (count <= 0) return false;
        m_end += static_cast<std::size_t>(count);
    }
    return true;
}

bool temporary_file::read(std::string_view& record) {
    if (!fill(length_size)) {
        m_failed = m_failed || m_begin < m_end;  // the file ends within a length
        return false;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, m_buffer.data() + m_begin, length_size);
    if (!fill(length_size + length)) {
        m_failed = true;  // the file ends within a record
        return false;
    }
    record = {m_buffer.data() + m_begin + length_size, length};
    m_begin += length_size + length;
    return true;
}

}  // namespace convert
