// The forms of a comparison of two listings.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "convert/comparison/row_change.h"
#include "convert/formats/row_writer.h"

namespace convert {

// Writes a line for each change.
class change_writer {
public:
    explicit change_writer(byte_sink& sink) : m_sink(sink) {}
    virtual ~change_writer() = default;
    change_writer(const change_writer&) = delete;
    change_writer& operator=(const change_writer&) = delete;

    // Both return false once a byte could not be written. Call begin() once, first.
    [[nodiscard]] bool begin() { return m_sink.write(heading()); }
    [[nodiscard]] bool write(const row_change& change) {
        m_line.clear();
        append(m_line, change);
        return m_sink.write(m_line);
    }

protected:
    virtual std::string heading() const { return {}; }
    virtual void append(std::string& out, const row_change& change) = 0;

private:
    byte_sink& m_sink;
    std::string m_line;
};

// A table for people: columns with blanks between them, then the path, or "old path -> new path".
//
// In paths, "%", ">" and characters that are not printed or that change the direction of text
// become
// "%" and two hexadecimal digits for each byte of UTF-8. What is not valid Unicode becomes U+FFFD.
class change_table : public change_writer {
public:
    using change_writer::change_writer;

protected:
    std::string heading() const override;
    void append(std::string& out, const row_change& change) override;
};

// JSON lines, with the rows of both listings as objects.
class change_jsonl : public change_writer {
public:
    using change_writer::change_writer;

protected:
    void append(std::string& out, const row_change& change) override;
};

}  // namespace convert
