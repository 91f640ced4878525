// A timeline: CSV with a row for each entry and time, sorted by time.
//
// A row has the letters of the timestamps that are equal to its time, of one source: M modified,
// A accessed, C changed (the MFT entry), B created, in the order "MACB" with a dot for the others.
// The source is SI ($STANDARD_INFORMATION) or FN ($FILE_NAME, without DOS names).
//
// The streams of an entry have its timestamps, so they add no rows, unless the listing contains the
// stream only. Rows of the same time are sorted by entry, sequence number, source and path.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "convert/formats/row_writer.h"
#include "convert/sorting/record_sorter.h"

namespace convert {

class timeline_writer : public row_writer {
public:
    explicit timeline_writer(byte_sink& sink, const sort_limits& limits = {});

    bool begin() override;
    bool write(const listing_row& row) override;
    bool finish() override;
    std::string failure() const override { return m_sorter.failure(); }
    // Says how many rows have no time.
    std::string note() const override;

private:
    bool add_events(const listing_row& row, const row_times& times, char source);
    bool take_event(std::string_view record);
    bool write_pending();

    byte_sink& m_sink;
    record_sorter m_sorter;
    std::uint64_t m_rows_without_time = 0;
    std::string m_record;
    std::string m_pending;  // the event that is not written yet, because the next may join it
    std::string m_line;
};

}  // namespace convert
