#include "run/cmd_params.h"
