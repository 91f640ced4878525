// The charts of timestamps, with their numbers as tables.
#pragma once

#include <string>

#include "convert/summary/time_counts.h"

namespace convert {

void append_months(std::string& out, const time_counts& times);
void append_days(std::string& out, const time_counts& times);
void append_hours(std::string& out, const time_counts& times);

}  // namespace convert
