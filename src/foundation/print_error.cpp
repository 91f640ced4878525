#include "foundation/print_error.h"
