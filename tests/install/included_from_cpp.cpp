// The header compiles as C++ too, and a C++ host finds the same version as a C host.
#include <tarvo.h>

const char* version_seen_from_cpp() { return tv_get_version(); }
