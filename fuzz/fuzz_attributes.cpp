// Attributes: those of entry 24 of a valid volume and of its extension record 25, and the clusters
// that they refer to.
//
// Input: u8 cluster size (bits 0 and 1), u8 report form, u16 size of the attributes in the base
// record, u16 size of those in the extension record, the attributes of both, then the clusters from
// LCN area_lcn().
#include "ntfs/format/reparse_point.h"
#include "record_volume.h"

namespace {

constexpr std::size_t header_size = 56;
constexpr std::size_t most_attributes = fuzz::record_volume::record_size - header_size;

// Returns a record in use with the given attributes and an end marker.
std::vector<std::uint8_t> record_with(fuzz::bytes attributes, std::uint8_t flags,
                                      std::uint64_t base) {
    std::vector<std::uint8_t> record(header_size);
    std::copy_n("FILE", 4, record.begin());
    record[16] = 1;
    record[18] = 1;
    record[20] = header_size;
    record[22] = flags;
    record[28] = 0;
    record[29] = fuzz::record_volume::record_size >> 8;
    record[32] = static_cast<std::uint8_t>(base);
    record[38] = base != 0 ? 1 : 0;
    record.insert(record.end(), attributes.begin(), attributes.end());
    const std::size_t end = std::min(record.size() + 4, fuzz::record_volume::record_size);
    record.resize(end, 0xFF);
    record.resize(fuzz::record_volume::record_size);
    return record;
}

void read_link(const std::vector<std::uint8_t>& record) {
    record_attrib attribute;
    if (!find_attrib(record, attrib_type::reparse_point, attribute,
                     fuzz::record_volume::record_size)) {
        return;
    }
    const auto value = attribute.value_to_record_end();
    const reparse_point point{value, value.size()};
    static_cast<void>(reparse_print_name(point));
    if (has_reparse_target(attribute, record.size() - attribute.at)) {
        static_cast<void>(reparse_target(point));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint64_t entry = fuzz::record_volume::directory;
    fuzz::input in(data, size);
    const std::uint8_t options = in.u8();
    const std::uint8_t form = in.u8();
    const std::size_t base_size = in.u16() % (most_attributes + 1);
    const std::size_t extension_size = in.u16() % (most_attributes + 1);
    const std::uint8_t directory_flag = (options & 4) != 0 ? 1 : 3;
    const auto base = record_with(in.take(base_size), directory_flag, 0);
    const auto extension = record_with(in.take(extension_size), 1, entry);

    fuzz::record_volume& volume = fuzz::valid_volume(options);
    volume.put_record(entry, base, true);
    if (extension_size != 0) volume.put_record(entry + 1, extension, true);
    volume.put_area(in.rest());
    read_link(base);

    const auto ntfs = volume.open();
    fuzz::require(ntfs != nullptr, "the volume opens");
    fuzz::read_entry(*ntfs, entry);
    fuzz::list_entry(*ntfs, entry, form);
    fuzz::stream_entry(*ntfs, entry);
    return 0;
}
