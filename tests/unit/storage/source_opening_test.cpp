#include "storage/source_opening.h"
