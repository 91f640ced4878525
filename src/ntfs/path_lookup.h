// From a textual path to an MFT entry.
#pragma once

#include <cstdint>
#include <string>

class CNtfs;
class cmd_params;

// Walks from the root directory (entry 5), one segment at a time, comparing names without regard to
// ASCII case. Junctions and symbolic links on the way are followed from the root when
// `follow_links` is set, without a bound: links that lead to each other never end.
//
// inode          out: the entry; on failure the last one found on the way, or 0 when there was none
//                to go
// parent_inode   out: the directory that holds it; all ones for a separator alone, 0 for a drive
//                alone and for a link whose target is one of these; on failure the directory that
//                lacks the segment
// resolved_path  out: the path that was walked
// trace          each step is written here as a "-diags" line
//
// False, traced only, when a segment isn't found or the path is empty.
bool resolve_path(std::uint64_t& inode, std::uint64_t& parent_inode, std::wstring& resolved_path,
                  CNtfs* ntfs, const std::wstring& path, bool follow_links, cmd_params& trace);

// What separates the segments of a path: "/" if it holds one anywhere, else the backslash.
wchar_t path_separator(const std::wstring& path);
