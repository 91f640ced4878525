#include "support/byte_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace support {

namespace {

constexpr std::size_t hole_size = 4096;  // block size of holes in files

[[noreturn]] void fail(const std::string& what, const std::string& path) {
    throw std::runtime_error(what + " " + path + ": " + std::strerror(errno));
}

bool all_zero(std::span<const std::uint8_t> content) {
    return std::all_of(content.begin(), content.end(), [](std::uint8_t b) { return b == 0; });
}

bool write_at(int fd, std::span<const std::uint8_t> content, std::uint64_t at) {
    while (!content.empty()) {
        const ssize_t done = ::pwrite(fd, content.data(), content.size(), static_cast<off_t>(at));
        if (done <= 0) {
            return false;
        }
        content = content.subspan(static_cast<std::size_t>(done));
        at += static_cast<std::uint64_t>(done);
    }
    return true;
}

// Writes the parts of a page that are not zero.
bool write_page(int fd, std::span<const std::uint8_t> page, std::uint64_t at) {
    for (std::size_t done = 0; done < page.size(); done += hole_size) {
        const auto part = page.subspan(done, std::min(hole_size, page.size() - done));
        if (!all_zero(part) && !write_at(fd, part, at + done)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::uint8_t* byte_image::page_for_writing(std::uint64_t at) {
    support::bytes& page = m_pages[at / page_size];
    if (page.empty()) {
        page.resize(page_size);
    }
    return page.data();
}

const std::uint8_t* byte_image::page_for_reading(std::uint64_t at) const {
    const auto found = m_pages.find(at / page_size);
    return found == m_pages.end() ? nullptr : found->second.data();
}

void byte_image::grow_to(std::uint64_t end) { m_size = std::max(m_size, end); }

byte_image& byte_image::put(std::uint64_t at, std::uint64_t value, std::size_t width) {
    std::uint8_t content[8] = {};
    width = std::min<std::size_t>(width, 8);
    for (std::size_t i = 0; i < width; ++i) {
        content[i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return put_bytes(at, {content, width});
}

byte_image& byte_image::put_big_endian(std::uint64_t at, std::uint64_t value, std::size_t width) {
    std::uint8_t content[8] = {};
    width = std::min<std::size_t>(width, 8);
    for (std::size_t i = 0; i < width; ++i) {
        content[width - 1 - i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return put_bytes(at, {content, width});
}

byte_image& byte_image::put_bytes(std::uint64_t at, std::span<const std::uint8_t> content) {
    grow_to(at + content.size());
    while (!content.empty()) {
        const std::size_t in_page = at % page_size;
        const std::size_t step = std::min(content.size(), page_size - in_page);
        std::copy_n(content.data(), step, page_for_writing(at) + in_page);
        content = content.subspan(step);
        at += step;
    }
    return *this;
}

byte_image& byte_image::put_text(std::uint64_t at, std::string_view text) {
    return put_bytes(at, as_bytes(text));
}

byte_image& byte_image::put_utf16(std::uint64_t at, std::u16string_view text) {
    return put_bytes(at, as_bytes(text));
}

byte_image& byte_image::fill(std::uint64_t at, std::uint64_t count, std::uint8_t value) {
    const support::bytes part(page_size, value);
    grow_to(at + count);
    while (count > 0) {
        const std::uint64_t step = std::min<std::uint64_t>(count, page_size - at % page_size);
        if (value != 0 || page_for_reading(at) != nullptr) {
            put_bytes(at, std::span(part).first(static_cast<std::size_t>(step)));
        }
        at += step;
        count -= step;
    }
    return *this;
}

byte_image& byte_image::put_image(std::uint64_t at, const byte_image& other) {
    fill(at, other.m_size, 0);
    for (const auto& [number, page] : other.m_pages) {
        const std::uint64_t start = number * page_size;
        if (start < other.m_size) {
            const std::uint64_t length = std::min<std::uint64_t>(page_size, other.m_size - start);
            put_bytes(at + start, std::span(page).first(static_cast<std::size_t>(length)));
        }
    }
    return *this;
}

std::uint64_t byte_image::get(std::uint64_t at, std::size_t width) const {
    const support::bytes content = get_bytes(at, std::min<std::size_t>(width, 8));
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < content.size(); ++i) {
        value |= std::uint64_t{content[i]} << (8 * i);
    }
    return value;
}

support::bytes byte_image::get_bytes(std::uint64_t at, std::size_t count) const {
    support::bytes result(count);
    std::size_t done = 0;
    while (done < count && at < m_size) {
        const std::size_t in_page = at % page_size;
        const auto step = static_cast<std::size_t>(
            std::min<std::uint64_t>(std::min(count - done, page_size - in_page), m_size - at));
        if (const std::uint8_t* page = page_for_reading(at)) {
            std::copy_n(page + in_page, step, result.data() + done);
        }
        at += step;
        done += step;
    }
    return result;
}

byte_image& byte_image::resize(std::uint64_t size) {
    if (size < m_size) {
        m_pages.erase(m_pages.lower_bound((size + page_size - 1) / page_size), m_pages.end());
        const std::size_t kept = size % page_size;
        if (kept != 0 && page_for_reading(size) != nullptr) {
            std::fill_n(page_for_writing(size) + kept, page_size - kept, std::uint8_t{0});
        }
    }
    m_size = size;
    return *this;
}

support::bytes byte_image::bytes() const { return get_bytes(0, static_cast<std::size_t>(m_size)); }

std::string byte_image::save(const std::string& path) const {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        fail("can't create", path);
    }
    bool written = ::ftruncate(fd, static_cast<off_t>(m_size)) == 0;
    for (const auto& [number, page] : m_pages) {
        const std::uint64_t start = number * page_size;
        if (written && start < m_size) {
            const std::uint64_t length = std::min<std::uint64_t>(page_size, m_size - start);
            written =
                write_page(fd, std::span(page).first(static_cast<std::size_t>(length)), start);
        }
    }
    if (::close(fd) != 0 || !written) {
        fail("can't write", path);
    }
    return path;
}

byte_image byte_image::load(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail("can't open", path);
    }
    byte_image result;
    support::bytes buffer(page_size);
    ssize_t taken = 0;
    while ((taken = ::read(fd, buffer.data(), buffer.size())) > 0) {
        const auto part = std::span(buffer).first(static_cast<std::size_t>(taken));
        if (all_zero(part)) {
            result.grow_to(result.m_size + part.size());
        } else {
            result.put_bytes(result.m_size, part);
        }
    }
    ::close(fd);
    if (taken < 0) {
        fail("can't read", path);
    }
    return result;
}

bytes as_bytes(std::string_view text) {
    bytes result(text.size());
    std::transform(text.begin(), text.end(), result.begin(),
                   [](char c) { return static_cast<std::uint8_t>(c); });
    return result;
}

bytes as_bytes(std::u16string_view text) {
    bytes result;
    result.reserve(text.size() * 2);
    for (const char16_t unit : text) {
        result.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        result.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return result;
}

bytes pattern(std::size_t count, std::uint32_t seed) {
    bytes result(count);
    std::uint32_t state = seed * 2654435761u + 1;
    for (std::uint8_t& b : result) {
        state = state * 1664525u + 1013904223u;
        b = static_cast<std::uint8_t>(state >> 24);
    }
    return result;
}

}  // namespace support
