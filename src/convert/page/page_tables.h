// The tables of the page.
#pragma once

#include <string>

#include "convert/listing/listing_head.h"
#include "convert/summary/page_summary.h"

namespace convert {

// Appends the list of what the head says, without its element.
void append_facts(std::string& out, const listing_head& head);
void append_kinds(std::string& out, const page_summary& summary);
void append_directories(std::string& out, const directory_totals& directories);
void append_set_back(std::string& out, const row_table& table);
void append_deleted(std::string& out, const row_table& table);
void append_streams(std::string& out, const row_table& table);
// `listed` is false if the listing has no object ids, because "-objid" was missing.
void append_object_ids(std::string& out, const row_table& table, bool listed);
void append_odd_names(std::string& out, const row_table& table);

}  // namespace convert
