#include "link/link_status.h"
