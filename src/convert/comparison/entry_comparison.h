// Compares the rows of one MFT entry in two listings.
//
// Deleting a file clears the flag "in use" and raises the sequence number of its entry, and using
// the entry again sets the flag. So rows are compared if entry, sequence number and flag are the
// same. Of the others, those in use are deleted or created, and those that are not in use are
// nothing.
//
// A file has a row for each of its paths (hard links). Two of them are the same link if they have
// the same path, or the same name in the same directory, which may have been renamed or moved
// itself. Of the other links, each old one and a new one are one that was renamed or moved, first
// those with the same name. Streams belong to a link, and are the same if they have the same name.
#pragma once

#include <functional>
#include <vector>

#include "convert/comparison/compared_row.h"
#include "convert/comparison/row_change.h"

namespace convert {

// Returns false to end the comparison.
using change_visitor = std::function<bool(const row_change&)>;

// Passes the changes of an entry to `visit`. `rows` are those of one entry of both listings, sorted
// as records are. Returns false if `visit` does.
[[nodiscard]] bool compare_entry(const std::vector<compared_row>& rows,
                                 const change_visitor& visit);

}  // namespace convert
