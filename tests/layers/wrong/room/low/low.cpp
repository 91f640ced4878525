#include "room/low/low.h"

int low() { return high(); }
