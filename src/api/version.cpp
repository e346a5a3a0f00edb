// The version of the library, as the build knows it.
#include "tarvo.h"

const char* tv_get_version() { return TARVO_VERSION; }
