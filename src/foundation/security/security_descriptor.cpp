#include "foundation/security/security_descriptor.h"

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <span>

namespace {

constexpr std::int64_t smallest_sid_room = 12;  // a SID of one sub-authority
constexpr std::size_t sds_descriptor_offset = 20;
constexpr const char* unknown_name = "unk";

struct numbered_name {
    std::uint32_t number;
    const char* name;
};

// Last sub-authorities that have the same meaning in every domain, and those of the built-in
// groups.
constexpr numbered_name rid_names[] = {
    {500, "User Admin"},
    {501, "User Guest"},
    {502, "KRBTGT [key distrib center]"},
    {512, "Domain Admin"},
    {513, "Domain Users"},
    {514, "Domain Guests"},
    {515, "Domain Computers"},
    {516, "Domain Controllers"},
    {517, "Domain Certificate Publishers"},
    {518, "Domain Schema Admins"},
    {519, "Domain Server Admins"},
    {520, "Domain Policy Creater/Owner"},
    {533, "Domain RAS & IAS Servers"},
    {544, "Admins"},
    {545, "Users"},
    {546, "Guests"},
    {547, "Power Users"},
    {548, "Account Operators"},
    {549, "Server Operators"},
    {550, "Print Operators"},
    {551, "Backup Operators"},
    {552, "Replicators"},
    {553, "RAS Services"},
    {554, "Pre Win2k Compatible Access"},
    {555, "Remote Desktop Users"},
    {556, "Network Configuration Operators"},
    {557, "Incoming Trust Forest Builders"},
    {558, "Performance Monitor Users"},
    {559, "Performance Log Users"},
    {560, "Windows Authorization Access Group"},
    {561, "Terminal Server License Servers"},
};

constexpr numbered_name authority_3_names[] = {
    {0, "Owner"},
    {1, "Group"},
    {2, "Owner Server"},
    {3, "Group Server"},
};

constexpr numbered_name authority_5_names[] = {
    {1, "Dialup"},
    {2, "Network"},
    {3, "Batch"},
    {4, "Interactive"},
    {5, "Logon Ids"},
    {6, "Service"},
    {7, "Anonymous Logon"},
    {8, "Proxy"},
    {9, "Server Logon [Domain Controllers]"},
    {10, "Principal Self"},
    {11, "Authenticated User"},
    {12, "Restricted Code"},
    {13, "Terminal Server Users"},
    {18, "Local System"},
    {19, "Local Service"},
    {20, "Network Service"},
    {21, "NT Non Unique"},
    {32, "Builtin Domain"},
};

// Bits of an access mask, in output order.
constexpr numbered_name right_names[] = {
    {0x80000000, "GENERIC_READ"},    {0x40000000, "GENERIC_WRITE"},
    {0x20000000, "GENERIC_EXECUTE"}, {0x10000000, "GENERIC_ALL"},
    {0x00010000, "DELETE"},          {0x00020000, "READ_CONTROL"},
    {0x00040000, "WRITE_DAC"},       {0x00080000, "WRITE_OWNER"},
    {0x00100000, "SYNCHRONIZE"},     {0x01000000, "ACCESS_SYSTEM_SECURITY"},
    {0x02000000, "MAXIMUM_ALLOWED"},
};

const char* name_of(std::span<const numbered_name> names, std::uint32_t number) {
    const auto hit = std::find_if(names.begin(), names.end(),
                                  [=](const numbered_name& n) { return n.number == number; });
    return hit == names.end() ? unknown_name : hit->name;
}

// Returns the bytes of `b` from `offset`, or its empty end. The pointer is null only if that of `b`
// is.
ql::bytes from_offset(ql::bytes b, std::size_t offset) {
    return b.subspan(std::min(offset, b.size()));
}

// SID:
//
//    0  u8   revision
//    1  u8   number of sub-authorities
//    2  u48  authority, highest byte first; only its last byte, at 7, is used
//    8  u32  sub-authorities
std::uint8_t sub_authority_count(ql::bytes sid) { return ql::le8(sid, 1); }
std::uint8_t authority(ql::bytes sid) { return ql::le8(sid, 7); }

// Returns the last sub-authority; for a SID without any, the four bytes before their position.
std::uint32_t last_sub_authority(ql::bytes sid) {
    return ql::le32(sid, 4 + std::size_t{4} * sub_authority_count(sid));
}

const char* well_known_name(ql::bytes sid) {
    const std::uint32_t last = last_sub_authority(sid);
    if (sub_authority_count(sid) != 1) return name_of(rid_names, last);
    switch (authority(sid)) {
        case 0:
            return "null";
        case 1:
            return "World";
        case 2:
            return "Local";
        case 3:
            return name_of(authority_3_names, last);
        case 5:
            return name_of(authority_5_names, last);
        default:
            return unknown_name;
    }
}

// Access control entry:
//
//    0  u8   type
//    1  u8   flags
//    2  u16  size, which is the distance to the next entry; 0 is not an error
//    4  u32  access mask
//    8  SID  trustee, at this offset even in entry types that have other fields before it
void add_ace(security_ace_rows& rows, ql::bytes ace) {
    security_ace_row row;
    const ql::bytes sid = from_offset(ace, 8);
    row.ace_type = ace_type_text(ql::le8(ace, 0));
    access_mask_text(ql::le32(ace, 4), row.access);
    sid_to_string(row.sid, sid);
    row.name = well_known_name(sid);

    std::string key = row.sid + row.ace_type;
    const auto [place, is_new] = rows.try_emplace(std::move(key), row);
    if (!is_new) place->second.access += " | " + row.access;
}

// Writes the parts of a descriptor. An offset of 0 is that of a part that does not exist.
class descriptor_writer {
public:
    descriptor_writer(std::ostream& stream, const std::string& line_prefix, ql::bytes descriptor)
        : m_stream(stream), m_line_prefix(line_prefix), m_descriptor(descriptor) {}

    void write_title() { m_stream << m_line_prefix << "Security Identifiers\n"; }

    void write_sid(const char* label, std::uint32_t sid_offset) {
        if (sid_offset == 0) return;
        std::string text;
        sid_to_string_checked(text, from_offset(m_descriptor, sid_offset), smallest_sid_room);
        m_stream << m_line_prefix << label << text << "]\n";
    }

    void write_acl(const char* title, std::uint32_t acl_offset) {
        security_ace_rows rows;
        if (acl_offset == 0 || !acl_rows(rows, m_descriptor, acl_offset)) return;
        m_stream << '\n' << m_line_prefix << title << '\n';
        for (const auto& [key, row] : rows) {
            m_stream << m_line_prefix << std::left << std::setw(15) << row.ace_type << ' '
                     << std::setw(15) << row.name << ' ' << row.access << '\n'
                     << std::right;
        }
    }

private:
    std::ostream& m_stream;
    const std::string& m_line_prefix;
    ql::bytes m_descriptor;
};

}  // namespace

void sid_to_string(std::string& out, ql::bytes sid) {
    out = "S-";
    out += std::to_string(ql::le8(sid, 0));
    out += '-';
    out += std::to_string(authority(sid));
    for (std::size_t i = 0; i < sub_authority_count(sid); ++i) {
        out += '-';
        out += std::to_string(ql::le32(sid, 8 + 4 * i));
    }
}

void sid_to_string_checked(std::string& out, ql::bytes sid, std::int64_t room) {
    out.clear();
    if (sid.data() == nullptr || room < smallest_sid_room) return;
    if (room < (std::int64_t{sub_authority_count(sid)} + 2) * 4) return;
    sid_to_string(out, sid);
}

void sid_display_name(std::ostream& stream, ql::bytes sid) { stream << well_known_name(sid); }

void access_mask_text(std::uint32_t mask, std::string& out) {
    out.clear();
    for (const auto& right : right_names) {
        if ((mask & right.number) == 0) continue;
        if (!out.empty()) out += " | ";
        out += right.name;
    }
}

void ace_type_text(std::uint8_t type, std::string& out, bool /*short_form*/) {
    static constexpr const char* texts[] = {
        "access allowed", "access denied", "system audit", "system alarm", "access allowed",
        "access allowed", "access denied", "system audit", "system alarm",
    };
    out = type < std::size(texts) ? texts[type] : "unknown";
}

std::string ace_type_text(std::uint8_t type) {
    constexpr bool short_form = true;
    std::string text;
    ace_type_text(type, text, short_form);
    return text;
}

// ACL:
//
//    0  u8   revision
//    2  u16  size, not checked
//    4  u16  number of entries
//    8       first entry
bool acl_rows(security_ace_rows& rows_out, ql::bytes descriptor, std::uint32_t acl_offset) {
    rows_out.clear();
    const ql::bytes acl = from_offset(descriptor, acl_offset);
    std::size_t ace_offset = 8;
    for (std::uint16_t left = ql::le16(acl, 4); left > 0; --left) {
        const ql::bytes ace = from_offset(acl, ace_offset);
        add_ace(rows_out, ace);
        ace_offset += ql::le16(ace, 2);
    }
    return !rows_out.empty();
}

// Self-relative security descriptor:
//
//    0  u8   revision
//    2  u16  control, not checked
//    4  u32  offset of the owner's SID, from the start of the descriptor; 0: none
//    8  u32  offset of the group's SID
//   12  u32  offset of the SACL
//   16  u32  offset of the DACL
std::ostream& security_descriptor_text(std::ostream& stream, ql::bytes descriptor,
                                       std::uint32_t /*length*/, const std::string& line_prefix) {
    descriptor_writer writer(stream, line_prefix, descriptor);
    writer.write_title();
    writer.write_sid("owner sid [", ql::le32(descriptor, 4));
    writer.write_sid("group sid [", ql::le32(descriptor, 8));
    writer.write_acl("System Access Control List", ql::le32(descriptor, 12));
    writer.write_acl("Discretionary Access Control List", ql::le32(descriptor, 16));
    return stream;
}

// Entry of $SDS:
//
//    4  u32  security id
//    8  u64  offset of the entry in the stream
//   16  u32  size of the entry
//   20       self-relative security descriptor: its owner offset at 24, its group offset at 28
bool parse_sds_entry(NTFS_SECURITY_ITEM& out, ql::bytes entry, std::uint64_t room) {
    if (ql::le32(entry, 16) > room) return false;
    const std::uint32_t owner_offset = ql::le32(entry, 24);
    const std::uint32_t group_offset = ql::le32(entry, 28);
    if (owner_offset == 0 && group_offset == 0) return false;

    const ql::bytes descriptor = from_offset(entry, sds_descriptor_offset);
    const auto sid_room = static_cast<std::int64_t>(room);
    NTFS_SECURITY_ITEM item;
    item.id = ql::le32(entry, 4);
    item.sds_offset = ql::le64(entry, 8);
    if (owner_offset != 0)
        sid_to_string_checked(item.owner_text, from_offset(descriptor, owner_offset),
                              sid_room - 24);
    if (group_offset != 0)
        sid_to_string_checked(item.group_text, from_offset(descriptor, group_offset),
                              sid_room - 32);
    out = std::move(item);
    return true;
}
