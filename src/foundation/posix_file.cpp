#include "foundation/posix_file.h"
