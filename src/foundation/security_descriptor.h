// Security descriptors, ACLs and SIDs as text.
//
// All walkers read from a byte span and take bytes behind its end as 0.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "foundation/ql_bytes.h"

// What an ACL grants to one trustee by one type of entry.
struct security_ace_row {
    std::string sid;
    std::string ace_type;
    std::string access;  // rights joined by " | "
    std::string name;
};

// Rows of one list, by the text of `sid` followed by `ace_type`.
using security_ace_rows = std::map<std::string, security_ace_row>;

// One entry of the $SDS stream.
struct NTFS_SECURITY_ITEM {
    std::uint64_t sds_offset = 0;  // bytes from the start of the stream
    std::uint32_t id = 0;
    std::string owner_text;  // SID
    std::string group_text;  // SID
    std::vector<std::string> sacl_lines;
    std::vector<std::string> dacl_lines;
};

// The text of the SID at the start of `sid`: "S-1-5-32-544". Reads count and values as they stand.
void sid_to_string(std::string& out, ql::bytes sid);

// As sid_to_string, but `out` is empty when `room` is below 12 or below (count + 2) * 4.
void sid_to_string_checked(std::string& out, ql::bytes sid, std::int64_t room);

// Writes the well-known name of the SID, or "unk".
void sid_display_name(std::ostream& stream, ql::bytes sid);

// The names of the generic and standard rights in `mask`, joined by " | ".
void access_mask_text(std::uint32_t mask, std::string& out);

// The type of an access control entry: "access allowed", "access denied", "system audit", "system
// alarm" or "unknown". `short_form` has no effect: there is one form.
void ace_type_text(std::uint8_t type, std::string& out, bool short_form);

// The rows of the ACL at `acl_offset` of `descriptor`. Entries of one SID and type are joined.
// True when there is at least one row.
bool acl_rows(security_ace_rows& rows_out, ql::bytes descriptor, std::uint32_t acl_offset);

// Writes a self-relative security descriptor as text, `line_prefix` before each line with words.
// `length` has no effect: the span ends the reads.
std::ostream& security_descriptor_text(std::ostream& stream, ql::bytes descriptor,
                                       std::uint32_t length, const std::string& line_prefix);

// Reads one $SDS entry; `room` is the number of bytes left in the stream. Fills offset, id, owner
// and group, and leaves the ACL lines empty: they are built by acl_rows where somebody asks.
// False when the entry's size exceeds `room`, or when it has neither owner nor group.
bool parse_sds_entry(NTFS_SECURITY_ITEM& out, ql::bytes entry, std::uint64_t room);
