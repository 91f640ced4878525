#include "report/writers/path_listing.h"

#include "report/writers/write_entries.h"

namespace {

struct path_report : report_base {
    void append_row(ql::text_buffer& row, const dir_entry& entry,
                    const listing_paths& paths) const {
        if (!entry.link_target.empty()) {
            row += entry.link_target;
        } else if (entry.type != entry_type::index_stream) {
            paths.append_path(row, entry);
        }
    }
};

}  // namespace

void write_path_listing(std::ostream& out, dir_entry_set& recurse_list, quorvel_opts& settings,
                        const std::wstring& parent_path, std::uint64_t dir_entry_num) {
    write_entries({out, recurse_list, settings, parent_path, dir_entry_num}, path_report());
}
