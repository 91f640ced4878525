#include "report/writers/path_listing.h"

#include "foundation/text/ql_string.h"
#include "report/format/listing_paths.h"
#include "report/format/row_text.h"
#include "run/settings/quorvel_opts.h"

void write_path_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num) {
    if (!start_listing(out, recurse_list, settings.entries)) return;
    listing_paths paths(ql::to_utf8(parent_path), dir_entry_num, settings.last_level != 0,
                        recurse_list);
    std::string row;
    std::string name;
    for (const dir_entry& entry : settings.entries) {
        name.clear();
        ql::append_utf8(name, entry.name);
        if (!paths.take(entry, name)) continue;
        if (!entry.link_target.empty()) {
            ql::append_utf8(row, entry.link_target);
        } else if (entry.type != entry_type::index_stream) {
            paths.append_path(row, entry, name);
        }
        write_row(out, row);
    }
}
