#include "storage/ql_disk_structs.h"
