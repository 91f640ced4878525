#include "storage/source_check.h"
