#include "storage/vmdk_extent.h"
