// Domains are made here, where all that follows their changes is known.
#include "inference/domain_hooks.h"

#include "api/boundary.h"
#include "expr/model.h"
#include "inference/answers/function_values.h"
#include "inference/calibrate_tables.h"
#include "inference/reset.h"
#include "network/domain.h"

namespace tv {

const Hooks kDomainHooks = {.models = &kModelHooks,
                            .results = &kPropagationResults,
                            .save_potential = save_potential,
                            .touch_table = _tv_node_touch_table};

}  // namespace tv

tv_domain_t* tv_new_domain(void) {
  return tv::guarded(static_cast<tv_domain_t*>(nullptr), []() -> tv_domain_t* {
    tv::check(true);
    return new tv_domain_t(tv::kDomainHooks);
  });
}
