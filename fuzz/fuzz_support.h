// Shared by the fuzz targets: an input reader, a source in memory, a silencer, scratch files.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/streams/uni_streams.h"

namespace fuzz {

using bytes = std::span<const std::uint8_t>;

// Aborts with a message if a condition is false.
inline void require(bool holds, const char* what) {
    if (holds) return;
    static_cast<void>(std::fprintf(stderr, "does not hold: %s\n", what));
    std::abort();
}

// Reads an input from its start. Numbers past its end are 0.
class input {
public:
    input(const std::uint8_t* data, std::size_t size) : m_left(data, size) {}

    std::uint64_t number(std::size_t width) {
        std::uint64_t value = 0;
        const bytes part = take(width);
        for (std::size_t i = part.size(); i-- > 0;)
            value = value << 8 | part[i];
        return value;
    }
    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t u64() { return number(8); }

    // Returns the next `count` bytes, or fewer at the end.
    bytes take(std::size_t count) {
        const bytes part = m_left.first(std::min(count, m_left.size()));
        m_left = m_left.subspan(part.size());
        return part;
    }
    bytes rest() { return take(m_left.size()); }

private:
    bytes m_left;
};

inline std::string as_text(bytes part) { return std::string(part.begin(), part.end()); }

// An anonymous file in memory, reused for each input.
class memory_file {
public:
    memory_file() : m_fd(::memfd_create("source", MFD_CLOEXEC)) {
        if (m_fd == -1) throw std::runtime_error("memfd_create failed");
        m_path = "/proc/self/fd/" + std::to_string(m_fd);
    }
    ~memory_file() { ::close(m_fd); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    // The path by which the program opens it.
    const std::string& path() const { return m_path; }
    std::wstring wide_path() const { return {m_path.begin(), m_path.end()}; }

    // Replaces the content. If `size` is larger, a hole follows.
    void set(bytes content, std::uint64_t size = 0) {
        size = std::max<std::uint64_t>(size, content.size());
        // Also discards the end of longer previous content.
        const bool resized = ::ftruncate(m_fd, static_cast<off_t>(content.size())) == 0 &&
                             ::ftruncate(m_fd, static_cast<off_t>(size)) == 0;
        require(resized, "a source in memory takes its size");
        put(0, content);
    }
    void put(std::uint64_t at, bytes content) {
        const ssize_t written =
            ::pwrite(m_fd, content.data(), content.size(), static_cast<off_t>(at));
        require(written == static_cast<ssize_t>(content.size()), "a source in memory is written");
    }

private:
    int m_fd;
    std::string m_path;
};

// Discards the program's output during its lifetime. The sanitizers and libFuzzer write to the
// descriptor, so their messages are still printed.
class quiet {
public:
    quiet()
        : m_cout(std::cout.rdbuf(uni::null_out.rdbuf())),
          m_cerr(std::cerr.rdbuf(uni::null_out.rdbuf())),
          m_stderr(stderr) {
        m_cout_format.copyfmt(std::cout);
        m_cerr_format.copyfmt(std::cerr);
        stderr = nowhere();
    }
    ~quiet() {
        static_cast<void>(std::fflush(stderr));
        stderr = m_stderr;
        restore(std::cout, m_cout, m_cout_format);
        restore(std::cerr, m_cerr, m_cerr_format);
    }
    quiet(const quiet&) = delete;
    quiet& operator=(const quiet&) = delete;

private:
    static std::FILE* nowhere() {
        static std::FILE* const stream = [] {
            cookie_io_functions_t functions{};
            functions.write = [](void*, const char*, std::size_t size) {
                return static_cast<ssize_t>(size);
            };
            return ::fopencookie(nullptr, "w", functions);
        }();
        return stream;
    }
    static void restore(std::ostream& stream, std::streambuf* buffer, const std::ios& format) {
        stream.rdbuf(buffer);  // also clears the state
        stream.copyfmt(format);
    }

    std::streambuf* m_cout;
    std::streambuf* m_cerr;
    std::FILE* m_stderr;
    std::ios m_cout_format{nullptr};
    std::ios m_cerr_format{nullptr};
};

// A scratch folder in memory, deleted at the end of the process.
class scratch_folder {
public:
    scratch_folder() {
        const bool has_memory = std::filesystem::is_directory("/dev/shm");
        const auto base = has_memory ? "/dev/shm" : std::filesystem::temp_directory_path();
        std::string name = (base / "quorvel-fuzz-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
        m_path = name;
    }
    ~scratch_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    // Deletes all files; there are no subfolders.
    void clear() const {
        std::error_code ignored;
        for (const auto& item : std::filesystem::directory_iterator(m_path, ignored))
            std::filesystem::remove(item.path(), ignored);
    }
    void write(const std::string& name, bytes content) const {
        const int fd = ::open(file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const bool written = fd != -1 && ::write(fd, content.data(), content.size()) ==
                                             static_cast<ssize_t>(content.size());
        if (fd != -1) ::close(fd);
        require(written, "a scratch file is written");
    }

private:
    std::string m_path;
};

}  // namespace fuzz
