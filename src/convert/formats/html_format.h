// One HTML page about a listing: its head, counts, charts of its times, and tables.
#pragma once

#include "convert/formats/row_writer.h"
#include "convert/listing/listing_head.h"
#include "convert/summary/page_summary.h"

namespace convert {

// Writes at the end only.
class html_writer : public row_writer {
public:
    explicit html_writer(byte_sink& sink) : m_sink(sink) {}

    void set_head(std::string_view head) override { m_head = parse_listing_head(head); }
    bool write(const listing_row& row) override {
        m_summary.add(row);
        return true;
    }
    bool finish() override;

private:
    byte_sink& m_sink;
    listing_head m_head;
    page_summary m_summary;
};

}  // namespace convert
