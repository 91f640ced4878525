#include "run/driver/run_path.h"

#include <memory>
#include <string>
#include <utility>

#include "ntfs/volume/ntfs.h"
#include "report/walk/enumerator.h"
#include "run/settings/quorvel_opts.h"
#include "storage/opening/source_opening.h"

namespace {

// Calls `opener` with the parameters of `source`, which differ from opener to opener. Returns null
// if the source cannot be opened or if the path is not found. The path as it was resolved is
// ignored: the reports show the path of the command line.
template <typename opener_type, typename... source_types>
std::unique_ptr<CNtfs> open_with(opener_type opener, quorvel_opts& opts,
                                 const source_types&... source) {
    std::unique_ptr<CNtfs> ntfs;
    std::wstring resolved_path;
    const bool opened = opener(ntfs, opts.dir_entry_num, resolved_path, source..., opts.directory,
                               opts.follow_links != 0, opts);
    return opened ? std::move(ntfs) : nullptr;
}

std::unique_ptr<CNtfs> open_source(quorvel_opts& opts) {
    if (!opts.vmdk_files.empty()) {
        return open_with(open_by_vmdk_list, opts, opts.vmdk_files, opts.vmdk_offset);
    }
    if (opts.drive_number != no_drive) {
        return open_with(open_by_drive_number, opts, opts.drive_number, opts.volume_offset);
    }
    if (!opts.image_path.empty()) {
        return open_with(open_by_image, opts, opts.image_path, opts.volume_offset);
    }
    return open_with(open_by_volume_name, opts);
}

}  // namespace

bool run_path(quorvel_opts& opts) {
    const std::unique_ptr<CNtfs> ntfs = open_source(opts);
    return ntfs != nullptr && report_directory(opts, *ntfs);
}
