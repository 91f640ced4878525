#include <array>
#include <string>

#include "foundation/text/ql_string.h"
#include "ntfs/attributes/attrib_pass.h"
#include "ntfs/attributes/attrib_store.h"
#include "ntfs/attributes/entry_context.h"
#include "ntfs/format/attrib_values.h"
#include "ntfs/format/reparse_point.h"
#include "ntfs/volume/ntfs.h"

namespace {

// Returns true if one of the four timestamps from offset `at` is 0.
bool has_null_time(ql::bytes value, std::size_t at) {
    for (std::size_t i = 0; i < 4; ++i) {
        if (ql::le64(value, at + i * 8) == 0) return true;
    }
    return false;
}

NTFS_STD_INFO_ITEM std_info_item(const kept_std_info& value) {
    NTFS_STD_INFO_ITEM item;
    item.value = value;
    item.time_warning = has_null_time(item.value, 0);
    if (item.time_warning) item.warning = "null";
    return item;
}

NTFS_FILE_NAME_ITEM file_name_item(const kept_name& name, std::uint64_t inode) {
    NTFS_FILE_NAME_ITEM item;
    item.value = name.value;
    item.name = name.name;
    item.is_dos_name = file_name_value{item.value}.is_dos_name();
    item.time_warning = has_null_time(item.value, 8);
    if (item.time_warning) item.warning = "null";
    item.attrib_id = name.attrib_id;
    item.inode = inode;
    return item;
}

const char* label_of(const kept_attrib& kept) {
    switch (kept.type) {
        case attrib_type::object_id:
            return "obj id";
        case attrib_type::security_descriptor:
            return "security descr";
        case attrib_type::volume_name:
            return "vol name";
        case attrib_type::volume_information:
            return "vol info";
        case attrib_type::data:
            return kept.name.empty() ? "unnamed data" : "ads";
        case attrib_type::index_root:
            return "indx root";
        case attrib_type::index_allocation:
            return "indx alloc";
        case attrib_type::bitmap:
            return "bitmap";
        case attrib_type::reparse_point:
            return "reparse point";
        case attrib_type::ea_information:
            return "extended attribs info";
        case attrib_type::ea:
            return "extended attribs";
        case attrib_type::property_set:
            return "property set";
        case attrib_type::logged_utility_stream:
            return "logged stream";
        default:
            return "unk";
    }
}

std::string volume_version_text(ql::bytes value) {
    const unsigned major = ql::le8(value, 8);
    const unsigned minor = ql::le8(value, 9);
    const char* system = "(Unk version)";
    if (major == 1 && minor == 2) {
        system = " (WinNT)";
    } else if (major == 3) {
        system = minor == 0 ? " (Win2k)" : minor == 1 ? " (WinXP)" : " (Windows)";
    }
    return "ver: " + std::to_string(major) + ":" + std::to_string(minor) + system;
}

std::string object_id_text(ql::bytes value) {
    std::array<std::uint8_t, 16> id{};
    ql::copy_start(value, id);
    std::string text;
    ql::format_guid(text, id.data());
    return text;
}

// Returns the value as text, or an empty text for a type without one. For $VOLUME_NAME, the caller
// replaces the text if the attribute itself has a name. A security descriptor has no text because
// no listing shows it.
std::string value_text_of(const record_attrib& attribute, std::uint32_t record_size) {
    switch (attribute.type()) {
        case attrib_type::object_id:
            return object_id_text(attribute.value_to_record_end());
        case attrib_type::volume_name:
            return volume_name_value(attribute);
        case attrib_type::volume_information:
            return volume_version_text(attribute.value_to_record_end());
        case attrib_type::reparse_point: {
            const std::size_t at = attribute.at + attribute.value_offset();
            return ql::to_utf8(reparse_target({attribute.value_to_record_end(), record_size - at}));
        }
        default:
            return {};
    }
}

// Copies the fields of an item that need the record, which is freed after the pass.
NTFS_ATTRIB_ITEM bytes_item(const record_attrib& attribute, std::uint32_t record_size) {
    NTFS_ATTRIB_ITEM item;
    const ql::bytes raw = ql::clip(attribute.record, attribute.at, attribute.length());
    item.raw.assign(raw.begin(), raw.end());
    item.value_text = value_text_of(attribute, record_size);
    return item;
}

void complete_item(NTFS_ATTRIB_ITEM& item, const kept_attrib& kept, bool keep_values) {
    item.attrib_name = kept.name;
    item.label = label_of(kept);
    if (kept.type == attrib_type::volume_name && !kept.name.empty()) {
        item.value_text = ql::to_utf8(kept.name);
    }
    item.is_data = kept.type == attrib_type::data;
    item.is_ads = item.is_data && !item.attrib_name.empty();
    item.runs = kept.runs;
    if (keep_values) item.resident_value = kept.value;
}

}  // namespace

bool CNtfs::categorize_entry(NTFS_ENTRY_STORE& store, mft_entries_ctx& ctx, std::uint64_t inode,
                             bool keep_values) {
    store = {};
    if (!is_open()) return false;
    ctx.ntfs = this;
    if (ctx.record_size == 0) ctx.record_size = get_mft_record_size();
    ctx.bytes_per_sector = get_bytes_per_sector();

    const std::uint32_t record_size = ctx.record_size;
    const auto take_bytes = [&](std::uint64_t key, const kept_attrib&,
                                const record_attrib& attribute) {
        store.attributes.emplace(key, bytes_item(attribute, record_size));
    };
    attrib_pass pass(*this, {.keep_values = keep_values,
                             .with_values = keep_values,
                             .on_insert = take_bytes,
                             .trace = &ctx});
    if (!pass.run(inode, record_size)) return false;

    const file_record head{pass.base_record()};
    store.inode = inode;
    store.sequence = head.sequence_number();
    ql::copy_start(head.record, store.header);
    store.base_ref = head.base_ref().raw;
    store.has_base = head.base_ref().is_set();
    for (const auto& [id, value] : pass.std_infos()) {
        store.std_infos.emplace(id, std_info_item(value));
    }
    pass.file_names().for_each([&](const kept_name& name) {
        NTFS_FILE_NAME_ITEM item = file_name_item(name, inode);
        const file_reference parent = file_name_value{item.value}.parent_ref();
        const std::string key = name_key(parent.entry(), item.name, inode);
        store.file_names.emplace(key, std::move(item));
    });
    for (const auto& [key, kept] : pass.attributes())
        complete_item(store.attributes.at(key), kept, keep_values);
    store.seen_unnamed_data = pass.seen_unnamed_data();
    store.record_bytes.assign(head.record.begin(), head.record.end());
    return true;
}
