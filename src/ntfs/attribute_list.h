// The body of an $ATTRIBUTE_LIST and the walk over its entries.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/ql_bytes.h"
#include "ntfs/file_record.h"

class CNtfs;

// The bytes of one list. `entries` points into the record of a resident list, or at `clusters`.
struct attribute_list_body {
    std::vector<std::uint8_t> clusters;  // what a non-resident list holds
    ql::bytes entries;
    std::int64_t size = 0;  // bytes of entries, as the attribute states it
};

// Takes the value of a resident list, clipped to its record, or reads the clusters of a
// non-resident one. `attribute` must outlive `body`. False without a value or without clusters.
bool load_attribute_list(CNtfs& ntfs, const record_attrib& attribute, attribute_list_body& body);

// Calls `visit` with each entry of the list, up to its size or the first entry of length 0.
template <class Visitor>
void for_each_list_entry(const attribute_list_body& body, Visitor visit) {
    list_entry entry{body.entries, 0};
    std::int64_t left = body.size;
    while (left > 0 && entry.length() != 0) {
        visit(entry);
        left -= entry.length();
        entry.at += entry.length();
    }
}
