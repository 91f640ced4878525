// Output to files: a plain file object, the buffered stream on top of it, and a stream that
// swallows everything.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace uni {

class fileio_output;

// One file, opened for reading or for writing. Not copyable; the destructor closes.
class file_object {
public:
    file_object();
    ~file_object();
    file_object(const file_object&) = delete;
    file_object& operator=(const file_object&) = delete;

    // Widens the path and goes on as open(). False when the path is not UTF-8.
    bool open_for_write(const std::string& utf8_path, bool write, bool shared, bool truncate);

    // Opens `path` after removing its trailing slashes and backslashes; an object that is open is
    // closed first. With `write` the file must exist, unless `truncate` creates or empties it.
    // `shared` is stored only. False, with the object closed, for an empty path or a failed open.
    bool open(const std::wstring& path, bool write, bool shared, bool truncate);

    // Creates the buffered stream (256 KiB) for this file, which owns it. Null when not open.
    fileio_output* attach_stream();

    // Writes at the end of the file by one write call; a short write is not noticed. `size` is read
    // anew. False when not open, when `data` is null, or when the write fails. 0 bytes are written
    // with true.
    bool append(const std::uint8_t* data, std::uint32_t length);

    // Flushes and destroys the stream, if any, and closes the descriptor.
    void close();

    // The size by a seek to the end, position unchanged; 0 when not open. A file below "/proc" that
    // can't seek has 0x40000.
    std::uint64_t get_size() const;

    // Reads `count` bytes at `offset` into `out`, fewer where the file ends; a count of 0 is true.
    // False, with `out` as it was, when not open, when `offset` is not below the size and for a
    // negative count; false, with `out` empty, when the read fails.
    bool read_at(std::vector<std::uint8_t>& out, std::int64_t count, std::uint64_t offset);

    // Opens `path` for reading and reads the lesser of its size and `limit` from its start. The
    // file stays open. False when it can't be opened or read, and when it is empty.
    bool read_whole(std::vector<std::uint8_t>& out, const std::string& path, std::uint32_t limit);

    std::int32_t fd = -1;
    std::uint64_t size = 0;
    bool write_mode = false;
    bool is_open = false;
    bool shared = false;
    std::wstring path;
    std::uint64_t position = 0;
    std::unique_ptr<fileio_output> stream;
};

// A stream buffer of a fixed capacity that hands whole buffers to write_block.
template <typename Char, typename Traits = std::char_traits<Char>>
class streambuf_generic_output : public std::basic_streambuf<Char, Traits> {
public:
    // `capacity` in bytes, at least 1. The last byte is kept free for overflow().
    explicit streambuf_generic_output(std::uint32_t capacity);
    ~streambuf_generic_output() override;
    streambuf_generic_output(const streambuf_generic_output&) = delete;
    streambuf_generic_output& operator=(const streambuf_generic_output&) = delete;

    // Writes out what is buffered; 0, or -1 when that failed.
    virtual int flush_buffer();
    // Takes `length` bytes; the number taken, or -1 on failure.
    virtual std::int64_t write_block(const Char* data, std::uint32_t length) = 0;

    std::uint32_t capacity;
    std::vector<Char> buffer;
    bool active = true;

protected:
    int sync() override;
    typename Traits::int_type overflow(typename Traits::int_type c) override;
};

// The stream buffer over a file_object, which it does not own.
class fileio_ostream : public streambuf_generic_output<char> {
public:
    // `file` must outlive this object; without one, null, each write fails. `capacity` in bytes.
    fileio_ostream(file_object* file, std::uint32_t capacity);
    ~fileio_ostream() override;
    fileio_ostream(const fileio_ostream&) = delete;
    fileio_ostream& operator=(const fileio_ostream&) = delete;
    std::int64_t write_block(const char* data, std::uint32_t length) override;

    file_object* file;
    bool connected;
};

// The std::ostream that writes to a file_object.
class fileio_output : public std::ostream {
public:
    // As for fileio_ostream.
    fileio_output(file_object* file, std::uint32_t capacity);

    fileio_ostream streambuf;
    bool attached;
};

// Swallows all output.
class null_out_buf : public std::streambuf {
protected:
    int_type overflow(int_type c) override;
};

class null_out_stream : public std::ostream {
public:
    null_out_stream();

private:
    null_out_buf m_buf;
};

// The one stream for output that nobody wants.
extern null_out_stream null_out;

}  // namespace uni
