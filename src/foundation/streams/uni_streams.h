// Output to files: a file object, a buffered stream that writes to it, and a stream that discards
// all output.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace uni {

class fileio_output;

// What a file is opened for. `append` needs an existing file; `rewrite` creates or empties it.
enum class file_use { read, append, rewrite };

// A file that is open for reading or for writing. The destructor closes it.
class file_object {
public:
    file_object();
    ~file_object();
    file_object(const file_object&) = delete;
    file_object& operator=(const file_object&) = delete;

    // Like open() for a UTF-8 path. Returns false if the path is not valid UTF-8.
    bool open_for_write(const std::string& utf8_path, bool write, bool shared, bool truncate);

    // Opens `path` without its trailing slashes and backslashes. An object that is already open is
    // closed first. With `write` the file must exist, unless `truncate` creates or empties it.
    // `shared` is only stored. Returns false, with the object closed, for an empty path or a failed
    // open.
    bool open(const std::wstring& path, bool write, bool shared, bool truncate);
    // Both forms, unshared.
    bool open(const std::wstring& path, file_use use);
    bool open(const std::string& utf8_path, file_use use);

    // Creates the buffered stream (256 KiB) for this file, which owns it. Returns null if not open.
    fileio_output* attach_stream();

    // Appends to the file by one write call and updates `size`. A short write is not detected.
    // Returns false if the file is not open, if `data` is null or if the write fails; true for 0
    // bytes.
    bool append(const std::uint8_t* data, std::uint32_t length);

    // Flushes and destroys the stream, if any, and closes the descriptor.
    void close();

    // Returns the size, found by a seek to the end, without changing the position; 0 if not open. A
    // file under "/proc" that cannot seek has size 0x40000.
    std::uint64_t get_size() const;

    // Reads `count` bytes at `offset` into `out`: fewer if the file ends first, none for a count of
    // 0. Returns false with `out` unchanged if the file is not open, if `offset` is not below the
    // size or if `count` is negative; false with `out` empty if the read fails.
    bool read_at(std::vector<std::uint8_t>& out, std::int64_t count, std::uint64_t offset);

    // Opens `path` for reading and reads up to `limit` bytes from its start. The file stays open.
    // Returns false if it cannot be opened or read, or if it is empty.
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

// A stream buffer of a fixed capacity that passes its contents to write_block.
template <typename Char, typename Traits = std::char_traits<Char>>
class streambuf_generic_output : public std::basic_streambuf<Char, Traits> {
public:
    // `capacity` is in bytes, at least 1. The last byte is reserved for overflow().
    explicit streambuf_generic_output(std::uint32_t capacity);
    ~streambuf_generic_output() override;
    streambuf_generic_output(const streambuf_generic_output&) = delete;
    streambuf_generic_output& operator=(const streambuf_generic_output&) = delete;

    // Writes the buffered bytes. Returns 0, or -1 if the write failed.
    virtual int flush_buffer();
    // Writes at most `length` bytes. Returns the number of bytes written, or -1 on failure.
    virtual std::int64_t write_block(const Char* data, std::uint32_t length) = 0;

    std::uint32_t capacity;
    std::vector<Char> buffer;
    bool active = true;

protected:
    int sync() override;
    typename Traits::int_type overflow(typename Traits::int_type c) override;
};

// A stream buffer over a file_object, which it does not own.
class fileio_ostream : public streambuf_generic_output<char> {
public:
    // `file` must outlive this object. If it is null, every write fails. `capacity` is in bytes.
    fileio_ostream(file_object* file, std::uint32_t capacity);
    ~fileio_ostream() override;
    fileio_ostream(const fileio_ostream&) = delete;
    fileio_ostream& operator=(const fileio_ostream&) = delete;
    std::int64_t write_block(const char* data, std::uint32_t length) override;

    file_object* file;
    bool connected;
};

// A std::ostream that writes to a file_object.
class fileio_output : public std::ostream {
public:
    // The parameters are those of fileio_ostream.
    fileio_output(file_object* file, std::uint32_t capacity);

    fileio_ostream streambuf;
    bool attached;
};

// Discards all output.
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

// The shared stream for output that is to be discarded.
extern null_out_stream null_out;

}  // namespace uni
