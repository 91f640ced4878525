// The run stage: opens the NTFS volume of a source, and resolves the directory argument to an MFT
// entry.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CNtfs;
class cmd_params;

// The kind of source that a CNtfs reads: its m_source_kind. A VMDK chain is `unknown`.
namespace source_kind {
constexpr std::uint32_t drive_letter = 32;  // stored as file
constexpr std::uint32_t file = 33;
constexpr std::uint32_t drive_number = 34;
constexpr std::uint32_t device_path = 35;
constexpr std::uint32_t reserved = 36;
constexpr std::uint32_t unknown = 255;
}  // namespace source_kind

// Open the source and validate the volume. Return true if `ntfs` owns an open, validated volume.
// Otherwise return false, with a null `ntfs`, and without a message except the "prob opening" of a
// drive.
bool attach_image(std::unique_ptr<CNtfs>& ntfs, const std::wstring& image_path,
                  std::uint64_t volume_offset);
bool attach_volume(std::unique_ptr<CNtfs>& ntfs, const std::wstring& name);
bool attach_drive(std::unique_ptr<CNtfs>& ntfs, std::uint32_t drive_number,
                  std::uint64_t volume_offset);
// A volume offset of 0, or one with the top bit set, becomes that of the base file's first
// partition.
bool attach_vmdk(std::unique_ptr<CNtfs>& ntfs, const std::vector<std::wstring>& files,
                 std::uint64_t volume_offset);

// The openers: attach, then resolve `directory` to an MFT entry. A directory of exactly one
// component that is ".", "/" or empty is the root, entry 5, without a lookup.
//
// ntfs           out: the open volume; also set if the lookup failed
// dir_entry_num  out: MFT entry of the directory
// resolved_path  out: the path as it was resolved
// trace          receives the "-diags" lines of the path lookup
//
// Returns false, without a message, if the source cannot be opened or the path is not found.
bool open_by_image(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                   std::wstring& resolved_path, const std::wstring& image_path,
                   std::uint64_t volume_offset, const std::wstring& directory, bool follow_links,
                   cmd_params& trace);
bool open_by_volume_name(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                         std::wstring& resolved_path, const std::wstring& directory,
                         bool follow_links, cmd_params& trace);
bool open_by_drive_number(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                          std::wstring& resolved_path, std::uint32_t drive_number,
                          std::uint64_t volume_offset, const std::wstring& directory,
                          bool follow_links, cmd_params& trace);
bool open_by_vmdk_list(std::unique_ptr<CNtfs>& ntfs, std::uint64_t& dir_entry_num,
                       std::wstring& resolved_path, const std::vector<std::wstring>& files,
                       std::uint64_t volume_offset, const std::wstring& directory,
                       bool follow_links, cmd_params& trace);
