// Opens files and devices. The whole program opens them through open_file.
#pragma once

#include <cstdint>
#include <string>

namespace ql {

// Opens `path_utf8` without blocking. `flags` are those of open(2); the non-blocking flag 0x800 is
// always added. A file that is created gets mode 0606; the mode argument is 0404 if the flags
// request read-only access.
//
// Returns the descriptor, which the caller closes. Returns -1 for an empty path, a failed open, a
// failed fstat, a FIFO or a socket. Devices and directories are opened. `errno` is set only if a
// system call failed, not for an empty path, a FIFO or a socket.
int open_file(const std::string& path_utf8, int flags);

// Returns the size of an open file or block device, found by seeking to its end, and seeks back to
// the start. Returns -1 if the seek fails.
std::int64_t seek_size(int fd);

// Opens those of the three standard descriptors that are closed. Otherwise the next file or pipe to
// be opened would reuse one of them, and printed text would end up in it.
void keep_standard_descriptors();

}  // namespace ql
