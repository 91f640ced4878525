#include "run/run_driver.h"
