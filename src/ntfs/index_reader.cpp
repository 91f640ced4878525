#include "ntfs/index_reader.h"
