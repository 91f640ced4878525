#include "run/path_filters.h"
