// The step that is repeated for each path of a run.
#pragma once

class quorvel_opts;

// Opens the source that the settings specify (VMDK files, a drive, an image, or the directory
// itself), resolves opts.directory and lists it. Returns false if the source cannot be opened, if
// the path is not found, or if the entry has no name or cannot be read.
bool run_path(quorvel_opts& opts);
