// File records: up to four in a valid volume, and the functions that parse one in memory.
//
// Input: u8 cluster size (bits 0 and 1) and whether the target adds the update sequences (bit 2),
// u8 report form, u16 sector size, then records of 1024 bytes for entries 24 to 27; entry 24 is
// \dir.
#include "ntfs/format/file_record.h"
#include "ntfs/records/attribute_list.h"
#include "record_volume.h"

namespace {

void walk(fuzz::bytes content, std::uint16_t stride) {
    std::vector<std::uint8_t> record(content.begin(), content.end());
    const file_record head{record};
    apply_update_sequence(record, head.sequence_array_offset(), head.sequence_array_count(),
                          record.size(), stride);
    std::uint32_t kind = 0;
    apply_fixup(kind, record, stride);
    static_cast<void>(head.record_size_from_usa());

    const auto limit = static_cast<std::uint32_t>(record.size());
    for (const std::uint32_t type : {0x10u, 0x20u, 0x30u, 0x80u, 0x90u, 0xC0u}) {
        record_attrib attribute;
        if (find_attrib(record, type, attribute, limit)) {
            static_cast<void>(name_inside(attribute));
            attribute.at += attribute.length();
            find_next_attrib(attribute, type, limit);
        }
        attribute = first_attrib(record);
        find_named_attrib(attribute, type, fuzz::bytes(record).first(limit & 8), limit);
    }
    list_entry entry{record, 0};
    auto left = static_cast<std::int64_t>(record.size());
    find_list_entry(entry, left, 0x80, {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint64_t most_records = 4;
    fuzz::input in(data, size);
    const std::uint8_t options = in.u8();
    const std::uint8_t form = in.u8();
    const std::uint16_t stride = in.u16();
    const fuzz::bytes records = in.rest();
    walk(records, stride);

    fuzz::record_volume& volume = fuzz::valid_volume(options);
    fuzz::input each(records.data(), records.size());
    for (std::uint64_t i = 0; i < most_records; ++i) {
        const fuzz::bytes record = each.take(fuzz::record_volume::record_size);
        if (record.empty()) break;
        volume.put_record(fuzz::record_volume::directory + i, record, (options & 4) != 0);
    }
    const auto ntfs = volume.open();
    fuzz::require(ntfs != nullptr, "the volume opens");
    fuzz::read_entry(*ntfs, fuzz::record_volume::directory);
    fuzz::list_entry(*ntfs, fuzz::record_volume::directory, form);
    return 0;
}
