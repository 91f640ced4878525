#include "convert/process/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

namespace convert {

namespace {

constexpr std::size_t buffer_size = std::size_t{256} << 10;

// The file that a signal deletes, or an empty text.
std::array<char, PATH_MAX + 1> file_to_delete{};

extern "C" void delete_and_end(int signal_number) {
    if (file_to_delete[0] != '\0') ::unlink(file_to_delete.data());
    // The handler was installed for one signal: this one has its usual effect.
    static_cast<void>(::raise(signal_number));
}

void handle_signals() {
    struct sigaction action {};
    action.sa_handler = delete_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        ::sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) ::sigaction(number, &action, nullptr);
    }
}

void set_file_to_delete(const std::string& path) {
    file_to_delete[0] = '\0';
    if (path.size() < file_to_delete.size())
        std::memcpy(file_to_delete.data(), path.c_str(), path.size() + 1);
}

// Returns the permissions of a file that this process creates.
mode_t usual_permissions() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

bool write_fully(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

output_file::output_file(std::string path, existing_file existing)
    : m_path(std::move(path)), m_existing(existing) {}

output_file::~output_file() {
    if (m_temporary.empty()) return;
    if (m_fd >= 0) ::close(m_fd);
    ::unlink(m_temporary.c_str());
    set_file_to_delete({});
}

bool output_file::fail(const std::string& what) {
    m_failure = what;
    return false;
}

bool output_file::fail_with_reason(const std::string& what) {
    return fail(what + ": " + std::strerror(errno));
}

bool output_file::open() {
    m_buffer.reserve(buffer_size);
    if (m_path.empty()) {
        m_fd = STDOUT_FILENO;
        return true;
    }
    std::string name = m_path + ".part-XXXXXX";
    m_fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_fd < 0) return fail_with_reason("cannot create " + name);
    m_temporary = std::move(name);
    set_file_to_delete(m_temporary);
    handle_signals();
    if (::fchmod(m_fd, usual_permissions()) != 0)
        return fail_with_reason("cannot set the permissions of " + m_temporary);
    return true;
}

bool output_file::flush() {
    if (!write_fully(m_fd, m_buffer)) {
        const std::string name = m_path.empty() ? "standard output" : m_path;
        return fail_with_reason("cannot write " + name);
    }
    m_buffer.clear();
    return true;
}

bool output_file::write(std::string_view bytes) {
    if (!m_failure.empty()) return false;
    m_buffer += bytes;
    return m_buffer.size() < buffer_size || flush();
}

bool output_file::rename_to_path() {
    const bool replace = m_existing == existing_file::replace;
    if (replace) return ::rename(m_temporary.c_str(), m_path.c_str()) == 0;
    const unsigned flags = RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, m_temporary.c_str(), AT_FDCWD, m_path.c_str(), flags) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The file system cannot rename without replacing. A link never replaces a file.
    if (::link(m_temporary.c_str(), m_path.c_str()) != 0) return false;
    ::unlink(m_temporary.c_str());
    return true;
}

bool output_file::commit() {
    if (!m_failure.empty() || !flush()) return false;
    if (m_path.empty()) return true;
    const int fd = std::exchange(m_fd, -1);
    if (::close(fd) != 0) return fail_with_reason("cannot write " + m_path);
    if (!rename_to_path()) return fail_with_reason("cannot create " + m_path);
    m_temporary.clear();
    set_file_to_delete({});
    return true;
}

}  // namespace convert
