// The domain's random numbers, as the host draws them.
#include <cmath>

#include "api/status.h"
#include "network/domain.h"

tv_status_t tv_domain_seed_random(tv_domain_t* domain, unsigned seed) {
  if (!tv::check(domain)) return tv_status_usage;
  domain->random.seed(seed);
  return tv_status_none;
}

double tv_domain_get_uniform_deviate(tv_domain_t* domain) {
  return tv::check(domain) ? domain->random.uniform() : -1.0;
}

double tv_domain_get_normal_deviate(tv_domain_t* domain, double mean, double variance) {
  if (!tv::check(domain && std::isfinite(mean) && std::isfinite(variance) && variance >= 0.0)) return -1.0;
  return domain->random.normal(mean, variance);
}
