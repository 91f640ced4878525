// Finds the MFT entry of a path.
#pragma once

#include <cstdint>
#include <string>

class CNtfs;
class cmd_params;

// Finds the entry of a path, one segment at a time from the root directory (entry 5). Names are
// compared without regard to ASCII case. With `follow_links`, junctions and symbolic links are
// followed from the root, any number of times: if links lead to each other, the call does not
// return.
//
// inode          out: the entry; on failure the last one found, or 0 if the path has no segment
// parent_inode   out: the directory that contains it; all ones for a separator alone, 0 for a drive
//                alone and for a link whose target is one of these; on failure the directory in
//                which the segment is missing, or all ones if the path has no segment
// resolved_path  out: the path that was walked; on failure empty, or unchanged if the path has no
//                segment
// trace          receives each step as a "-diags" line
//
// Returns false if a segment is not found, if the path is empty or if `ntfs` is null. The reason is
// only traced.
bool resolve_path(std::uint64_t& inode, std::uint64_t& parent_inode, std::wstring& resolved_path,
                  CNtfs* ntfs, const std::wstring& path, bool follow_links, cmd_params& trace);

// Returns the separator of a path: "/" if the path contains one anywhere, else the backslash.
wchar_t path_separator(const std::wstring& path);
