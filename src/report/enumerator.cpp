#include "report/enumerator.h"
