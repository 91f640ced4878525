#include "storage/opening/source_opening.h"

#include <utility>

#include "ntfs/lookup/path_lookup.h"
#include "ntfs/volume/ntfs.h"
#include "storage/disk/raw_disk.h"
#include "storage/vmdk/vmdk_chain.h"

namespace {

// A letter (or anything else) and a colon at the start of a name.
bool has_drive_colon(const std::wstring& name) { return name.size() > 1 && name[1] == L':'; }

bool is_device_name(const std::wstring& name) { return name.starts_with(L"\\\\"); }

// Returns the kind of an image name. Drive letters and device names of other systems are not mapped
// to devices: all kinds are opened as files of that name.
std::uint32_t kind_of_image(const std::wstring& name) {
    if (is_device_name(name)) return source_kind::device_path;
    const bool letter_only =
        has_drive_colon(name) && (name.size() == 2 || (name.size() == 3 && name[2] == L'\\'));
    return letter_only ? source_kind::drive_letter : source_kind::file;
}

std::uint32_t kind_of_volume(const std::wstring& name) {
    if (has_drive_colon(name)) return source_kind::drive_letter;
    return is_device_name(name) ? source_kind::device_path : source_kind::file;
}

// Passes an open disk to a new volume reader and validates the volume.
bool attach_disk(std::unique_ptr<CNtfs>& ntfs, std::unique_ptr<CRawDisk> disk, std::uint32_t kind,
                 std::uint64_t volume_offset) {
    ntfs.reset();
    if (!disk->ok) return false;
    ntfs = std::make_unique<CNtfs>(std::move(disk), volume_offset, kind);
    if (ntfs->validate()) return true;
    ntfs.reset();
    return false;
}

bool attach_name(std::unique_ptr<CNtfs>& ntfs, const std::wstring& name, std::uint32_t kind,
                 std::uint64_t volume_offset) {
    const std::uint32_t path_kind = kind == source_kind::device_path ? 2 : 0;
    const std::uint32_t stored_kind = kind == source_kind::drive_letter ? source_kind::file : kind;
    constexpr bool write_access = false;
    constexpr bool no_open = false;
    auto disk = std::make_unique<CRawDisk>(name, write_access, no_open, path_kind);
    return attach_disk(ntfs, std::move(disk), stored_kind, volume_offset);
}

// Returns the start of the first partition of a chain, as read from its base file, or 0.
std::uint64_t default_offset(const vmdk_chain& chain) {
    if (chain.base->partition_offsets.empty()) return 0;
    return chain.base->partition_offsets.front();
}

// Returns true for a path whose only component is "." or empty, and for a single slash. A single
// backslash has no component and is resolved by the lookup.
bool is_root_path(const std::wstring& directory) {
    if (directory.empty() || directory == L"/") return true;
    const wchar_t separator = path_separator(directory);
    const std::size_t first = directory.find_first_not_of(separator);
    const std::size_t last = directory.find_last_not_of(separator);
    return first != std::wstring::npos && first == last && directory[first] == L'.';
}

// Common to all openers: resolves the directory on an open volume to an MFT entry.
bool find_directory(CNtfs& ntfs, std::uint64_t& dir_entry_num, std::wstring& resolved_path,
                    const std::wstring& directory, bool follow_links, cmd_params& trace) {
    if (is_root_path(directory)) {
        resolved_path = directory;
        dir_entry_num = root_entry;
        return true;
    }
    std::uint64_t parent_entry_num = 0;
    return resolve_path(dir_entry_num, parent_entry_num, resolved_path, &ntfs, directory,
                        follow_links, trace);
}

}  // namespace

bool attach_image(std::unique_ptr<CNtfs>& ntfs, const std::wstring& image_path,
                  std::uint64_t volume_offset) {
    return attach_name(ntfs, image_path, kind_of_image(image_path), volume_offset);
}

bool attach_volume(std::unique_ptr<CNtfs>& ntfs, const std::wstring& name) {
    const std::uint32_t kind = kind_of_volume(name);
    // After the letter and its colon is the directory inside the volume.
    return attach_name(ntfs, kind == source_kind::drive_letter ? name.substr(0, 2) : name, kind, 0);
}

bool attach_drive(std::unique_ptr<CNtfs>& ntfs, std::uint32_t drive_number,
                  std::uint64_t volume_offset) {
    auto disk = std::make_unique<CRawDisk>(drive_number);
    return attach_disk(ntfs, std::move(disk), source_kind::drive_number, volume_offset);
}

bool attach_vmdk(std::unique_ptr<CNtfs>& ntfs, const std::vector<std::wstring>& files,
                 std::uint64_t volume_offset) {
    ntfs.reset();
    if (files.empty()) return false;
    auto disk = std::make_unique<CRawDisk>(files);
    if (!disk->ok) return false;
    if (static_cast<std::int64_t>(volume_offset) < 1) volume_offset = default_offset(*disk->vmdk);
    constexpr std::uint32_t half_mask = 0xfffffff;
    disk->offset_hi = static_cast<std::uint32_t>(volume_offset >> 32) & half_mask;
    disk->offset_lo = static_cast<std::uint32_t>(volume_offset) & half_mask;
    return attach_disk(ntfs, std::move(disk), source_kind::unknown, volume_offset);
}

bool open_by_image(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                   std::wstring& resolved_path, const std::wstring& image_path,
                   std::uint64_t volume_offset, const std::wstring& directory, bool follow_links,
                   cmd_params& trace) {
    return attach_image(ntfs, image_path, volume_offset) &&
           find_directory(*ntfs, dir_entry_num, resolved_path, directory, follow_links, trace);
}

bool open_by_volume_name(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                         std::wstring& resolved_path, const std::wstring& directory,
                         bool follow_links, cmd_params& trace) {
    return attach_volume(ntfs, directory) &&
           find_directory(*ntfs, dir_entry_num, resolved_path, directory, follow_links, trace);
}

bool open_by_drive_number(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                          std::wstring& resolved_path, std::uint32_t drive_number,
                          std::uint64_t volume_offset, const std::wstring& directory,
                          bool follow_links, cmd_params& trace) {
    return attach_drive(ntfs, drive_number, volume_offset) &&
           find_directory(*ntfs, dir_entry_num, resolved_path, directory, follow_links, trace);
}

bool open_by_vmdk_list(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                       std::wstring& resolved_path, const std::vector<std::wstring>& files,
                       std::uint64_t volume_offset, const std::wstring& directory,
                       bool follow_links, cmd_params& trace) {
    return attach_vmdk(ntfs, files, volume_offset) &&
           find_directory(*ntfs, dir_entry_num, resolved_path, directory, follow_links, trace);
}
