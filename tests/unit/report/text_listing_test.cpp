#include "report/text_listing.h"
