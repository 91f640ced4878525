// What the system says about cached reads, and the hints that it gets, under control of a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace support {

// A hint that bytes of a file will be read soon.
struct given_hint {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;

    bool operator==(const given_hint&) const = default;
};

// Returns true if the system, and the file system of `path`, can read what is cached without
// waiting.
bool reads_cached_bytes(const std::string& path);

// Answers the calls preadv2 and posix_fadvise of this process as long as it exists; there can be
// one at a time. Other reads and their results are not changed.
class system_hints {
public:
    enum class cache {
        empty,      // every read has to wait
        full,       // none has
        half,       // half of the bytes of each read are there
        not_asked,  // the file system does not say
    };
    explicit system_hints(cache state);
    ~system_hints();
    system_hints(const system_hints&) = delete;
    system_hints& operator=(const system_hints&) = delete;

    cache state;
    int refusal = 0;                // an errno: posix_fadvise returns it, and no hint is given
    std::vector<given_hint> given;  // in the order of the calls
    int questions = 0;              // calls of preadv2
};

}  // namespace support
