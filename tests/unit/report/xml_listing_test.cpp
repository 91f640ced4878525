#include "report/xml_listing.h"
