// The date window of "-cmd_start_time" and "-cmd_stop_time".
#pragma once

#include <string>

class cmd_params;

// Read "<date> [<time>]", the date as year, month, day with slashes or dashes, and set the start or
// the end of the window. A start opens the end to the maximum; an end without a time is the end of
// its day. A date that can't be read, and an end that lies before the start, is told on standard
// error and closes the window again.
// False, without a message, for a value that is no date at all: nothing before the first blank, or
// neither a slash nor a dash in it.
bool set_window_start(cmd_params& params, const std::string& value);
bool set_window_stop(cmd_params& params, const std::string& value);
