// What a domain writes to its log while something is done.
#pragma once

#include <tarvo.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace test {

template <class Work>
std::string log_of(tv_domain_t* domain, Work work) {
  char* text = nullptr;
  size_t size = 0;
  std::FILE* const stream = open_memstream(&text, &size);
  tv_domain_set_log_file(domain, stream);
  work();
  tv_domain_set_log_file(domain, nullptr);
  std::fclose(stream);
  std::string log(text, size);
  std::free(text);
  return log;
}

}  // namespace test
