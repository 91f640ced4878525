// Hints of a run in which no read has failed so far.
#pragma once

#include "storage/hints/hinted_reads.h"
#include "support/system_hints.h"

// Answers the calls like system_hints, and resets the process-wide flag, which other tests set.
class fresh_hints : public support::system_hints {
public:
    explicit fresh_hints(cache wanted) : system_hints(wanted) { source_read_has_failed = false; }
    ~fresh_hints() { source_read_has_failed = false; }
    fresh_hints(const fresh_hints&) = delete;
    fresh_hints& operator=(const fresh_hints&) = delete;
};
