// Security descriptors, lists, identifiers and entries of $SDS as text.
//
// Input: u8 action, u32 offset, u32 length, then the bytes. Even a short list may state 65,535
// entries, so an input selects only one action, and in all but one of sixteen the upper bits of the
// counts are cleared.
#include "foundation/security/security_descriptor.h"
#include "record_volume.h"

namespace {

// Loads $SDS of a valid volume, whose first bytes are the input.
void load_table(fuzz::bytes stream) {
    fuzz::record_volume& volume = fuzz::valid_volume(0);
    volume.put_area(stream);
    const auto ntfs = volume.open();
    fuzz::require(ntfs != nullptr, "the volume opens");
    if (ntfs->load_security_table())
        fuzz::require(!ntfs->m_security_table.empty(), "a loaded table has entries");
}

void read_sids(fuzz::bytes descriptor, std::uint32_t number, std::uint32_t length) {
    std::string text;
    sid_to_string(text, descriptor);
    sid_to_string_checked(text, descriptor, length);
    sid_to_string_checked(text, descriptor, static_cast<std::int64_t>(descriptor.size()));
    sid_display_name(uni::null_out, descriptor);
    access_mask_text(number, text);
    ace_type_text(static_cast<std::uint8_t>(number), text, (length & 1) != 0);
}

// Returns a copy whose lists, at `offset` and at the offsets in a descriptor's header, state at
// most 255 entries.
std::vector<std::uint8_t> with_short_lists(fuzz::bytes descriptor, std::uint32_t offset) {
    constexpr std::size_t upper_byte_of_count = 5;
    std::vector<std::uint8_t> copy(descriptor.begin(), descriptor.end());
    for (const std::size_t list :
         {std::size_t{offset}, std::size_t{ql::le32(copy, 12)}, std::size_t{ql::le32(copy, 16)}}) {
        if (list + upper_byte_of_count < copy.size()) copy[list + upper_byte_of_count] = 0;
    }
    return copy;
}

void read_rows(fuzz::bytes descriptor, std::uint32_t offset) {
    security_ace_rows rows;
    const bool any = acl_rows(rows, descriptor, offset);
    fuzz::require(any == !rows.empty(), "the result tells whether there are rows");
}

void read_entry(fuzz::bytes entry, std::uint32_t room) {
    NTFS_SECURITY_ITEM item;
    parse_sds_entry(item, entry, room);
    parse_sds_entry(item, entry, entry.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::input in(data, size);
    const std::uint8_t what = in.u8();
    const std::uint32_t offset = in.u32();
    const std::uint32_t length = in.u32();
    const bool with_long_lists = what % 16 == 15;
    const fuzz::bytes content = in.rest();
    const std::vector<std::uint8_t> shortened = with_short_lists(content, offset);
    const fuzz::bytes descriptor = with_long_lists ? content : fuzz::bytes(shortened);
    switch (what / 16 % 5) {
        case 0:
            read_sids(descriptor, offset, length);
            break;
        case 1:
            read_rows(descriptor, offset);
            break;
        case 2:
            security_descriptor_text(uni::null_out, descriptor, length, "  ");
            break;
        case 3:
            read_entry(descriptor, length);
            break;
        default:
            load_table(descriptor);
    }
    return 0;
}
