// quorvel-calls <trace> <image>: repeats the reads and writes of a run of quorvel, in order, with
// the same sizes and offsets. The rest of the run's time is quorvel's own work.
//
// <trace> is the output of "strace -s 0 -e trace=preadv2,pread64,write" for that run. Reads <image>
// and writes to standard output. Prints the processor time of the calls to standard error:
// "<calls> <user milliseconds> <system milliseconds>".
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct call {
    bool is_read = false;
    std::size_t count = 0;
    off_t offset = 0;
};

// One line of the trace: "preadv2(3, [...], 1, 16384, RWF_NOWAIT) = 1024",
// "pread64(3, ""..., 1024, 16384) = 1024" or "write(1, ""..., 84) = 84". Returns false for any
// other line, and for a failed read of cached bytes.
bool read_call(const std::string& line, call& out) {
    if (const std::size_t parts = line.find("], 1, "); parts != std::string::npos) {
        long count = 0;
        const int numbers =
            std::sscanf(line.c_str() + parts, "], 1, %ld, RWF_NOWAIT) = %ld", &out.offset, &count);
        if (numbers != 2 || count < 1) return false;
        out.is_read = true;
        out.count = static_cast<std::size_t>(count);
        return true;
    }
    const bool is_read = line.find("pread64(") != std::string::npos;
    const bool is_write = line.find("write(1,") != std::string::npos;
    const std::size_t at = line.find("..., ");
    if ((!is_read && !is_write) || at == std::string::npos) return false;
    unsigned long count = 0;
    unsigned long offset = 0;
    const int numbers = std::sscanf(line.c_str() + at + 5, "%lu, %lu", &count, &offset);
    if (numbers != (is_read ? 2 : 1)) return false;
    out = {is_read, count, static_cast<off_t>(offset)};
    return true;
}

std::vector<call> read_trace(const char* path) {
    std::vector<call> calls;
    std::ifstream trace(path);
    call one;
    for (std::string line; std::getline(trace, line);) {
        if (read_call(line, one)) calls.push_back(one);
    }
    return calls;
}

bool make_calls(const std::vector<call>& calls, int image, std::vector<char>& buffer) {
    for (const call& one : calls) {
        const ssize_t done = one.is_read ? ::pread(image, buffer.data(), one.count, one.offset)
                                         : ::write(STDOUT_FILENO, buffer.data(), one.count);
        if (done < 0) return false;
    }
    return true;
}

double milliseconds(const timeval& from, const timeval& to) {
    return static_cast<double>(to.tv_sec - from.tv_sec) * 1e3 +
           static_cast<double>(to.tv_usec - from.tv_usec) / 1e3;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: quorvel-calls <trace> <image>\n", stderr);
        return 2;
    }
    const std::vector<call> calls = read_trace(argv[1]);
    const int image = ::open(argv[2], O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    std::size_t largest = 1;
    for (const call& one : calls)
        largest = std::max(largest, one.count);
    std::vector<char> buffer(largest, ' ');

    rusage before{};
    rusage after{};
    ::getrusage(RUSAGE_SELF, &before);
    const bool made = image != -1 && !calls.empty() && make_calls(calls, image, buffer);
    ::getrusage(RUSAGE_SELF, &after);
    if (!made) {
        std::fputs("quorvel-calls: a call failed\n", stderr);
        return 1;
    }
    std::fprintf(stderr, "%zu %.3f %.3f\n", calls.size(),
                 milliseconds(before.ru_utime, after.ru_utime),
                 milliseconds(before.ru_stime, after.ru_stime));
    return 0;
}
