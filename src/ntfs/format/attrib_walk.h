// The walk over the attributes of a record, and the rules by which it ends.
//
// Readers of the same damaged record may find different attributes, because each ends its walk by
// its own rule. The rules differ only in what they do at an attribute of length 0 or of a length
// that is too large. Every walk ends: bytes past the end of a record are zero, and no walk
// continues after an attribute of length 0.
//
// A rule has two functions: `ends_at` returns true if the walk ends before it visits an attribute,
// and `ends_after` if it ends after the visit. Both are called once for each attribute, in order.
#pragma once

#include <cstdint>

#include "ntfs/format/record_attrib.h"

// Ends at type 0xFFFFFFFF, and after an attribute of length 0.
struct ends_after_empty {
    bool ends_at(const record_attrib& attribute) const {
        return attribute.type() == attrib_type::end;
    }
    bool ends_after(const record_attrib& attribute) const { return attribute.length() == 0; }
};

// Ends at type 0xFFFFFFFF, and at an attribute of length 0, which is not visited.
struct ends_at_empty {
    bool ends_at(const record_attrib& attribute) const {
        return attribute.type() == attrib_type::end || attribute.length() == 0;
    }
    bool ends_after(const record_attrib&) const { return false; }
};

// Ends at type 0xFFFFFFFF, and after an attribute of length 0 or of a length above `limit`.
struct ends_after_longer {
    std::uint32_t limit;

    bool ends_at(const record_attrib& attribute) const {
        return attribute.type() == attrib_type::end;
    }
    bool ends_after(const record_attrib& attribute) const {
        return attribute.length() == 0 || attribute.length() > limit;
    }
};

// Ends at type 0xFFFFFFFF, and at an attribute of length 0 or of a length above `limit`, which is
// not visited.
struct ends_at_longer {
    std::uint32_t limit;

    bool ends_at(const record_attrib& attribute) const {
        return attribute.type() == attrib_type::end || attribute.length() == 0 ||
               attribute.length() > limit;
    }
    bool ends_after(const record_attrib&) const { return false; }
};

// Ends at a type of 0xFFFFFFFF after the first attribute, at an attribute of a length of `size` or
// more, which is not visited, and after an attribute of length 0.
struct ends_at_record_size {
    std::uint32_t size;
    bool is_first = true;

    bool ends_at(const record_attrib& attribute) const {
        return (attribute.type() == attrib_type::end && !is_first) || attribute.length() >= size;
    }
    bool ends_after(const record_attrib& attribute) {
        is_first = false;
        return attribute.length() == 0;
    }
};

// Ends at type 0xFFFFFFFF, at an attribute that is longer than the rest of a budget of bytes, which
// is not visited, after an attribute of length 0, and when the budget is used up.
struct ends_at_budget {
    std::int64_t left;

    bool ends_at(const record_attrib& attribute) const {
        return attribute.type() == attrib_type::end || left < 1 || attribute.length() > left;
    }
    bool ends_after(const record_attrib& attribute) {
        left -= attribute.length();
        return attribute.length() == 0;
    }
};

// Moves `attribute` forward to the first one for which `is_wanted` returns true, starting with
// `attribute` itself. Returns false if the walk ends before; `attribute` is then the one at which
// it ended.
template <class Rule, class Predicate>
bool seek_attrib(record_attrib& attribute, Rule rule, Predicate is_wanted) {
    while (!rule.ends_at(attribute)) {
        if (is_wanted(attribute)) return true;
        if (rule.ends_after(attribute)) return false;
        attribute.at += attribute.length();
    }
    return false;
}

// Calls `visit` with `attribute` and those after it, until the walk ends.
template <class Rule, class Visitor>
void for_each_attrib(record_attrib attribute, Rule rule, Visitor visit) {
    seek_attrib(attribute, rule, [&visit](const record_attrib& visited) {
        visit(visited);
        return false;
    });
}
