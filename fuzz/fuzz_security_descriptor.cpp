// Security descriptors, lists, identifiers and entries of $SDS as text.
//
// Input: u8 what to do, u32 an offset, u32 a length, then the bytes. A list may count 65,535
// entries however short it is: an input asks for one thing only.
#include "foundation/security_descriptor.h"
#include "record_volume.h"

namespace {

// Loads $SDS of a sound volume with the bytes as its start.
void load_table(fuzz::bytes stream) {
    fuzz::record_volume& volume = fuzz::sound_volume(0);
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
    const fuzz::bytes descriptor = in.rest();
    switch (what % 5) {
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
