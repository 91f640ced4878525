// The step that a run does for each of its paths.
#pragma once

class quorvel_opts;

// Opens the source that the settings name (VMDK files, a drive, an image, or the directory itself),
// resolves opts.directory and lists it. False, without a message, when the source can't be opened,
// the path isn't found or its record can't be read.
bool run_path(quorvel_opts& opts);
