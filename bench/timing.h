// What every measurement needs: domains and data sets that delete themselves, calls that must not fail, times
// and medians.
#pragma once

#include <tarvo.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <vector>

namespace bench {

struct DomainDelete {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using Domain = std::unique_ptr<tv_domain_t, DomainDelete>;

struct DeleteDataSet {
  void operator()(tv_data_set_t* data) const { tv_data_set_delete(data); }
};
using DataSet = std::unique_ptr<tv_data_set_t, DeleteDataSet>;

inline void expect(tv_status_t status) {
  if (status != tv_status_none) throw std::runtime_error(tv_error_name(static_cast<unsigned>(status)));
}

// Of a file or of a text.
inline Domain load_network(const char* source) {
  Domain domain(tv_net_parse_domain(source, nullptr, nullptr));
  if (!domain) expect(tv_error_code());
  return domain;
}

template <class Work>
double milliseconds(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Milliseconds of this thread's processor time, which other processes cannot take away.
inline double processor_time() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

inline double median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  const size_t half = times.size() / 2;
  return times.size() % 2 ? times[half] : (times[half - 1] + times[half]) / 2;
}

}  // namespace bench
