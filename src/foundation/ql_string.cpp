#include "foundation/ql_string.h"
