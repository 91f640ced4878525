#include "run/arguments.h"
