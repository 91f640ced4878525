// A text under construction.
//
// A listing appends some dozens of short texts to each of its rows. Unlike those of std::string,
// the functions that append are inlined, and new memory is not cleared first.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "foundation/text/short_text.h"

namespace ql {

class text_buffer {
public:
    // The text. It is valid until this object changes.
    std::string_view view() const { return {m_text.get(), m_size}; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    // Removes the text and keeps its memory.
    void clear() { m_size = 0; }

    // Append a character or a text. The text must not be a part of this object.
    text_buffer& operator+=(char c) {
        *reserve(1) = c;
        ++m_size;
        return *this;
    }
    text_buffer& operator+=(std::string_view text) {
        if (text.empty()) return *this;
        std::memcpy(reserve(text.size()), text.data(), text.size());
        m_size += text.size();
        return *this;
    }
    // Copies the whole array, whose size is constant: that is faster than a call of memcpy.
    text_buffer& operator+=(const short_text& text) {
        std::memcpy(reserve(short_text::capacity), text.array().data(), short_text::capacity);
        m_size += text.size();
        return *this;
    }

    // Appends `count` copies of `fill`.
    void append(std::size_t count, char fill) {
        std::fill_n(reserve(count), count, fill);
        m_size += count;
    }

    // Returns memory for `count` characters after the text. They are unspecified, and become part
    // of the text by add_written.
    char* reserve(std::size_t count) {
        if (m_capacity - m_size < count) grow(count);
        return m_text.get() + m_size;
    }
    // Adds the first `count` characters of the memory that reserve returned to the text.
    void add_written(std::size_t count) { m_size += count; }

private:
    void grow(std::size_t count) {
        constexpr std::size_t least = 256;
        const std::size_t capacity = std::max({least, 2 * m_capacity, m_size + count});
        auto text = std::make_unique_for_overwrite<char[]>(capacity);
        std::copy_n(m_text.get(), m_size, text.get());
        m_text = std::move(text);
        m_capacity = capacity;
    }

    std::unique_ptr<char[]> m_text;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

}  // namespace ql
