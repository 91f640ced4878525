#include "foundation/ql_time.h"
