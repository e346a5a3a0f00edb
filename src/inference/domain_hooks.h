// What follows in models and compiled trees when a network changes.
#pragma once

#include "network/hooks.h"

namespace tv {

extern const Hooks kDomainHooks;  // every domain is made with them

}  // namespace tv
