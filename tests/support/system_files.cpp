// Content of system files that is the same on all volumes.
#include <array>

#include "support/byte_writer.h"
#include "support/record_builder.h"
#include "support/volume_writer.h"

namespace support {

namespace {

unsigned upper_case(unsigned unit) {
    const auto within = [unit](unsigned first, unsigned last) {
        return unit >= first && unit <= last;
    };
    if (within('a', 'z') || (within(0xE0, 0xFE) && unit != 0xF7) || within(0x3B1, 0x3C9) ||
        within(0x430, 0x44F)) {
        return unit == 0x3C2 ? 0x3A3 : unit - 0x20;
    }
    if (within(0x450, 0x45F)) {
        return unit - 0x50;
    }
    if (within(0x100, 0x137) || within(0x14A, 0x177)) {
        return unit & ~1u;
    }
    return unit;
}

struct definition {
    std::u16string_view name;
    std::uint32_t type_code, flags;  // 2 indexable, 0x40 must be resident, 0x80 may be non-resident
    std::uint64_t least, most;       // bytes
};

constexpr std::uint64_t any_size = ~0ull;

constexpr std::array definitions = {
    definition{u"$STANDARD_INFORMATION", type::standard_information, 0x40, 48, 72},
    definition{u"$ATTRIBUTE_LIST", type::attribute_list, 0x80, 0, any_size},
    definition{u"$FILE_NAME", type::file_name, 0x42, 68, 578},
    definition{u"$OBJECT_ID", type::object_id, 0x40, 0, 256},
    definition{u"$SECURITY_DESCRIPTOR", type::security_descriptor, 0x80, 0, any_size},
    definition{u"$VOLUME_NAME", type::volume_name, 0x40, 2, 256},
    definition{u"$VOLUME_INFORMATION", type::volume_information, 0x40, 12, 12},
    definition{u"$DATA", type::data, 0, 0, any_size},
    definition{u"$INDEX_ROOT", type::index_root, 0x40, 0, any_size},
    definition{u"$INDEX_ALLOCATION", type::index_allocation, 0x80, 0, any_size},
    definition{u"$BITMAP", type::bitmap, 0x80, 0, any_size},
    definition{u"$REPARSE_POINT", type::reparse_point, 0x80, 0, 16384},
    definition{u"$EA_INFORMATION", type::ea_information, 0x40, 8, 8},
    definition{u"$EA", type::ea, 0, 0, 65536},
    definition{u"$LOGGED_UTILITY_STREAM", type::logged_utility_stream, 0x80, 0, 65536},
};

}  // namespace

bytes upcase_table() {
    bytes table;
    table.reserve(131072);
    for (unsigned unit = 0; unit < 65536; ++unit) {
        append(table, upper_case(unit), 2);
    }
    return table;
}

bytes attribute_definitions() {
    bytes table;
    for (const definition& d : definitions) {
        const std::size_t start = table.size();
        append(table, as_bytes(d.name));
        table.resize(start + 128);
        append(table, d.type_code, 4);
        append(table, 0, 4);
        append(table, d.type_code == type::file_name ? 1 : 0, 4);
        append(table, d.flags, 4);
        append(table, d.least, 8);
        append(table, d.most, 8);
    }
    table.resize(table.size() + 160);
    return table;
}

}  // namespace support
