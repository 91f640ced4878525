#include "storage/vmdk_chain.h"
