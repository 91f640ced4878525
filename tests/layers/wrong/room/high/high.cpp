#include "room/high/high.h"

#include "room/low/low.h"

int high() { return low(); }
