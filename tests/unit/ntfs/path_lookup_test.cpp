#include "ntfs/path_lookup.h"
