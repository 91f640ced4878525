#include "run/driver/run_path.h"

#include <memory>
#include <string>

#include "ntfs/volume/ntfs.h"
#include "report/walk/enumerator.h"
#include "run/settings/quorvel_opts.h"
#include "storage/opening/source_opening.h"

namespace {

bool open_source(quorvel_opts& opts, std::unique_ptr<CNtfs>& ntfs) {
    std::wstring resolved_path;
    const bool follow_links = opts.follow_links != 0;
    if (!opts.vmdk_files.empty()) {
        return open_by_vmdk_list(ntfs, opts.dir_entry_num, resolved_path, opts.vmdk_files,
                                 opts.vmdk_offset, opts.directory, follow_links, opts);
    }
    if (opts.drive_number != no_drive) {
        return open_by_drive_number(ntfs, opts.dir_entry_num, resolved_path, opts.drive_number,
                                    opts.volume_offset, opts.directory, follow_links, opts);
    }
    if (!opts.image_path.empty()) {
        return open_by_image(ntfs, opts.dir_entry_num, resolved_path, opts.image_path,
                             opts.volume_offset, opts.directory, follow_links, opts);
    }
    return open_by_volume_name(ntfs, opts.dir_entry_num, resolved_path, opts.directory,
                               follow_links, opts);
}

}  // namespace

bool run_path(quorvel_opts& opts) {
    std::unique_ptr<CNtfs> ntfs;
    return open_source(opts, ntfs) && report_directory(opts, *ntfs);
}
