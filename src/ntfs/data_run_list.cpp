#include "ntfs/data_run_list.h"
