#include "storage/raw_disk.h"
