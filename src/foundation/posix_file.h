// The one way in which this program opens files and devices.
#pragma once

#include <cstdint>
#include <string>

namespace ql {

// Opens `path_utf8` without blocking. `flags` are those of open(2); the non-blocking flag 0x800 is
// always added. A file that is created gets mode 0606, and the mode argument is 0404 when the flags
// ask for reading only.
//
// The result is the descriptor, which the caller closes, or -1 for an empty path, a failed open, a
// failed fstat, a FIFO or a socket. Devices and folders are opened. `errno` is that of the call
// that failed.
int open_file(const std::string& path_utf8, int flags);

// The size of an open file or block device by a seek to its end; -1 when the seek fails. The
// position is back at the start afterwards.
std::int64_t seek_size(int fd);

}  // namespace ql
