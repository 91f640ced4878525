// Security descriptors, ACLs and SIDs as text.
//
// All functions read from a byte span; bytes past its end read as 0.
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "foundation/bytes/ql_bytes.h"

// The rights in an ACL's entries of one type for one trustee.
struct security_ace_row {
    std::string sid;
    std::string ace_type;
    std::string access;  // rights joined by " | "
    std::string name;
};

// The rows of one ACL, keyed by `sid` followed by `ace_type`.
using security_ace_rows = std::map<std::string, security_ace_row>;

// An entry of the $SDS stream.
struct NTFS_SECURITY_ITEM {
    std::uint64_t sds_offset = 0;  // bytes from the start of the stream
    std::uint32_t id = 0;
    std::string owner_text;  // SID
    std::string group_text;  // SID
    std::vector<std::string> sacl_lines;
    std::vector<std::string> dacl_lines;
};

// Sets `out` to the text of the SID at the start of `sid`: "S-1-5-32-544". Nothing is validated.
void sid_to_string(std::string& out, ql::bytes sid);

// Like sid_to_string, but `out` is empty if `room`, in bytes, is below 12 or below (count + 2) * 4.
void sid_to_string_checked(std::string& out, ql::bytes sid, std::int64_t room);

// Writes the well-known name of the SID, or "unk".
void sid_display_name(std::ostream& stream, ql::bytes sid);

// Sets `out` to the names of the generic and standard rights in `mask`, joined by " | ".
void access_mask_text(std::uint32_t mask, std::string& out);

// Sets `out` to the type of an access control entry: "access allowed", "access denied", "system
// audit", "system alarm" or "unknown". `short_form` is ignored.
void ace_type_text(std::uint8_t type, std::string& out, bool short_form);
std::string ace_type_text(std::uint8_t type);

// Reads the ACL at `acl_offset` of `descriptor`. Entries of the same SID and type are joined in one
// row. Returns true if there is at least one row.
bool acl_rows(security_ace_rows& rows_out, ql::bytes descriptor, std::uint32_t acl_offset);

// Writes a self-relative security descriptor as text, with `line_prefix` before each line that is
// not empty. `length` is ignored: the span limits the reads.
std::ostream& security_descriptor_text(std::ostream& stream, ql::bytes descriptor,
                                       std::uint32_t length, const std::string& line_prefix);

// Reads one $SDS entry; `room` is the number of bytes left in the stream. Sets offset, id, owner
// and group; the ACL lines are empty, and callers use acl_rows instead. Returns false, with `out`
// unchanged, if the entry's size exceeds `room` or if it has neither an owner nor a group.
bool parse_sds_entry(NTFS_SECURITY_ITEM& out, ql::bytes entry, std::uint64_t room);
