#include "storage/volumes/source_check.h"

#include "foundation/text/ql_string.h"
#include "storage/disk/raw_disk.h"
#include "storage/volumes/volume_selection.h"

bool check_image(std::ostream& out, const std::string& image_utf8, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size) {
    const std::wstring path = ql::to_wide(image_utf8);
    CRawDisk disk(path);
    if (!disk.ok) {
        out << "invalid image: " << ql::to_utf8(path) << std::endl;
        return false;
    }
    return select_volume(out, found_ntfs, offset, disk, ignore_image_size);
}

bool check_drive(std::ostream& out, std::uint32_t drive_number, std::uint64_t& offset,
                 bool& found_ntfs, bool ignore_image_size) {
    CRawDisk disk(drive_number);
    if (!disk.ok) {
        out << "problems accessing physical disk #" << std::dec << drive_number << ", aborting "
            << std::endl;
        return false;
    }
    return select_volume(out, found_ntfs, offset, disk, ignore_image_size);
}

bool check_drive(std::ostream& out, std::uint32_t drive_number, std::uint64_t& offset,
                 bool ignore_image_size) {
    bool found_ntfs = false;
    return check_drive(out, drive_number, offset, found_ntfs, ignore_image_size);
}

bool check_vmdk_list(std::ostream& out, const std::vector<std::wstring>& files,
                     std::uint64_t& offset, bool& found_ntfs, bool ignore_image_size) {
    if (files.empty()) return false;
    CRawDisk disk(files);
    if (!disk.ok) {
        out << "invalid disk collection of snaps " << std::endl;
        return false;
    }
    return select_volume(out, found_ntfs, offset, disk, ignore_image_size);
}
