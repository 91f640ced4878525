#include "foundation/streams/uni_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "foundation/streams/posix_file.h"
#include "foundation/text/ql_string.h"

namespace uni {

namespace {

constexpr std::uint32_t stream_capacity = 0x40000;
constexpr std::uint64_t pseudo_file_size = 0x40000;
constexpr int write_flags = O_RDWR;
constexpr int create_flags = O_RDWR | O_CREAT | O_TRUNC;

// Reads up to `wanted` bytes from `offset`. Returns the number of bytes read, or -1 on failure.
std::int64_t read_fully(int fd, std::uint8_t* to, std::size_t wanted, std::uint64_t offset) {
    std::size_t done = 0;
    while (done < wanted) {
        const ssize_t got =
            ::pread(fd, to + done, wanted - done, static_cast<off_t>(offset + done));
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return static_cast<std::int64_t>(done);
}

}  // namespace

file_object::file_object() = default;

file_object::~file_object() {
    try {
        close();
    } catch (...) {  // a destructor cannot report errors
    }
}

bool file_object::open_for_write(const std::string& utf8_path, bool write, bool share,
                                 bool truncate) {
    return open(ql::to_wide(utf8_path), write, share, truncate);
}

bool file_object::open(const std::wstring& wide_path, bool write, bool share, bool truncate) {
    std::wstring name = wide_path;  // a copy: `wide_path` may be the `path` that close() clears
    close();
    ql::strip_trailing_separators(name);

    const int flags = !write ? O_RDONLY : truncate ? create_flags : write_flags;
    fd = ql::open_file(ql::to_utf8(name), flags);
    if (fd == -1) return false;
    path = name;
    is_open = true;
    write_mode = write;
    shared = share;
    size = get_size();
    return true;
}

bool file_object::open(const std::wstring& wide_path, file_use use) {
    constexpr bool share = false;
    return open(wide_path, use != file_use::read, share, use == file_use::rewrite);
}

bool file_object::open(const std::string& utf8_path, file_use use) {
    return open(ql::to_wide(utf8_path), use);
}

fileio_output* file_object::attach_stream() {
    if (is_open) stream = std::make_unique<fileio_output>(this, stream_capacity);
    return stream.get();
}

bool file_object::append(const std::uint8_t* data, std::uint32_t length) {
    if (!is_open || data == nullptr) return false;
    if (length == 0) return true;
    ::lseek(fd, 0, SEEK_END);
    if (::write(fd, data, length) == -1) return false;
    const off_t end = ::lseek(fd, 0, SEEK_END);
    size = static_cast<std::uint64_t>(std::max<off_t>(end, 0));
    position = size;
    return true;
}

void file_object::close() {
    if (stream) {
        stream->flush();
        stream.reset();
    }
    if (fd != -1) ::close(fd);
    fd = -1;
    size = 0;
    write_mode = false;
    is_open = false;
    shared = false;
    path.clear();
    position = 0;
}

std::uint64_t file_object::get_size() const {
    if (!is_open) return 0;
    const off_t before = ::lseek(fd, 0, SEEK_CUR);
    errno = 0;
    const off_t end = ::lseek(fd, 0, SEEK_END);
    const int reason = errno;
    ::lseek(fd, before, SEEK_SET);
    if (end > 0) return static_cast<std::uint64_t>(end);
    return reason == EINVAL && path.starts_with(L"/proc") ? pseudo_file_size : 0;
}

bool file_object::read_at(std::vector<std::uint8_t>& out, std::int64_t count,
                          std::uint64_t offset) {
    if (!is_open || offset >= size || count < 0) return false;
    const std::uint64_t wanted = std::min(static_cast<std::uint64_t>(count), size - offset);
    out.resize(wanted);
    const std::int64_t got = read_fully(fd, out.data(), out.size(), offset);
    out.resize(static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
    position = offset + out.size();
    return got >= 0;
}

bool file_object::read_whole(std::vector<std::uint8_t>& out, const std::string& utf8_path,
                             std::uint32_t limit) {
    if (!open(utf8_path, file_use::read)) return false;
    return read_at(out, static_cast<std::int64_t>(std::min<std::uint64_t>(size, limit)), 0);
}

template <typename Char, typename Traits>
streambuf_generic_output<Char, Traits>::streambuf_generic_output(std::uint32_t capacity_)
    : capacity(std::max(capacity_, 1u)), buffer(capacity) {
    this->setp(buffer.data(), buffer.data() + buffer.size() - 1);
}

// write_block of the derived class is no longer callable here, so derived classes flush.
template <typename Char, typename Traits>
streambuf_generic_output<Char, Traits>::~streambuf_generic_output() = default;

template <typename Char, typename Traits>
int streambuf_generic_output<Char, Traits>::flush_buffer() {
    if (!active) return 0;
    return Traits::eq_int_type(overflow(Traits::eof()), Traits::eof()) ? -1 : 0;
}

template <typename Char, typename Traits>
int streambuf_generic_output<Char, Traits>::sync() {
    return flush_buffer();
}

template <typename Char, typename Traits>
typename Traits::int_type streambuf_generic_output<Char, Traits>::overflow(
    typename Traits::int_type c) {
    if (!active) return Traits::eof();
    Char* const first = buffer.data();
    Char* const last = first + buffer.size();
    const bool has_char = !Traits::eq_int_type(c, Traits::eof());
    if (has_char) {
        if (this->pptr() == last) return Traits::eof();  // full since a failed write
        *this->pptr() = Traits::to_char_type(c);
        this->pbump(1);
    }
    const auto held = static_cast<std::uint32_t>(this->pptr() - first);
    for (std::uint32_t written = 0; written < held;) {
        const std::int64_t taken = write_block(first + written, held - written);
        if (taken <= 0) {
            if (this->pptr() == last) {  // the reserved byte is used: accept nothing after it
                this->setp(first, last);
                this->pbump(static_cast<int>(held));
            }
            return Traits::eof();
        }
        written += static_cast<std::uint32_t>(taken);
    }
    this->setp(first, last - 1);
    return has_char ? c : 0;
}

template class streambuf_generic_output<char>;

fileio_ostream::fileio_ostream(file_object* file_, std::uint32_t capacity_)
    : streambuf_generic_output<char>(capacity_), file(file_), connected(file_ != nullptr) {}

fileio_ostream::~fileio_ostream() {
    try {
        flush_buffer();
    } catch (...) {  // a destructor cannot report errors
    }
}

std::int64_t fileio_ostream::write_block(const char* data, std::uint32_t length) {
    if (!connected) return -1;
    return file->append(reinterpret_cast<const std::uint8_t*>(data), length)
               ? static_cast<std::int64_t>(length)
               : -1;
}

fileio_output::fileio_output(file_object* file, std::uint32_t capacity)
    : std::ostream(nullptr), streambuf(file, capacity), attached(file != nullptr) {
    rdbuf(&streambuf);
}

null_out_buf::int_type null_out_buf::overflow(int_type c) { return traits_type::not_eof(c); }

null_out_stream::null_out_stream() : std::ostream(nullptr) { rdbuf(&m_buf); }

null_out_stream null_out;  // NOLINT(cert-err58-cpp): a stream without a buffer can't fail

}  // namespace uni
