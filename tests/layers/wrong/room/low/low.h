#pragma once

#include "room/high/high.h"

int low();
