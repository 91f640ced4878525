#include "foundation/ql_number.h"
