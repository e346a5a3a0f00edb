// Times the generation of tables from models.
#pragma once

#include <cstddef>

namespace bench {

bool run_models(size_t repeats);

}  // namespace bench
