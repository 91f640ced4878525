#include "storage/volume_selection.h"
