// The date window of "-cmd_start_time" and "-cmd_stop_time".
#pragma once

#include <string>

class cmd_params;

// Parse "<date> [<time>]", where the date is year, month, day with slashes or dashes, and set the
// start or the end of the window. Setting the start moves the end to the maximum. An end without a
// time is the end of its day. A date that cannot be parsed, or an end before the start, is reported
// on standard error; a bad start turns the window off, a bad end only the end.
//
// Return false, without a message, if the value is not a date: nothing before the first blank, or
// no slash or dash in it. A start is cleared in that case, too.
bool set_window_start(cmd_params& params, const std::string& value);
bool set_window_stop(cmd_params& params, const std::string& value);
