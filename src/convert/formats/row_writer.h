// The interface of the formats.
#pragma once

#include <string>
#include <string_view>

#include "convert/listing/listing_row.h"

namespace convert {

// Takes the bytes of a text format.
class byte_sink {
public:
    byte_sink() = default;
    virtual ~byte_sink() = default;
    byte_sink(const byte_sink&) = delete;
    byte_sink& operator=(const byte_sink&) = delete;

    // Returns false once a byte could not be written.
    [[nodiscard]] virtual bool write(std::string_view bytes) = 0;
};

// Writes rows in one format. After a call has returned false, only failure() may be called.
class row_writer {
public:
    row_writer() = default;
    virtual ~row_writer() = default;
    row_writer(const row_writer&) = delete;
    row_writer& operator=(const row_writer&) = delete;

    // Receives the head of the listing, which most formats do not write. Called before begin(), if
    // there is a head.
    virtual void set_head(std::string_view /*head*/) {}
    // Writes what precedes the rows. Call it once, first.
    [[nodiscard]] virtual bool begin() { return true; }
    [[nodiscard]] virtual bool write(const listing_row& row) = 0;
    // Writes what follows the rows. Call it once, last.
    [[nodiscard]] virtual bool finish() { return true; }

    // Says why a call returned false. Empty if the sink failed.
    virtual std::string failure() const { return {}; }
    // Returns a line for the user about the rows written, without a line end, or an empty text.
    virtual std::string note() const { return {}; }
};

// A text format with a line for each row, or a few.
class line_writer : public row_writer {
public:
    explicit line_writer(byte_sink& sink) : m_sink(sink) {}

    bool begin() override { return m_sink.write(heading()); }
    bool write(const listing_row& row) override {
        m_lines.clear();
        append(m_lines, row);
        return m_sink.write(m_lines);
    }

protected:
    virtual std::string heading() const { return {}; }
    virtual void append(std::string& out, const listing_row& row) = 0;

private:
    byte_sink& m_sink;
    std::string m_lines;
};

}  // namespace convert
