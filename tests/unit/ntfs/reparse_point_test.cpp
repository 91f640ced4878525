#include "ntfs/reparse_point.h"
