// How fast networks are read and written as text, beside plain loops of strtod and snprintf over the same
// numbers, all in one run.
#include <tarvo.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

struct DeleteDomain {
  void operator()(tv_domain_t* domain) const { tv_domain_delete(domain); }
};
using Domain = std::unique_ptr<tv_domain_t, DeleteDomain>;

struct Free {
  void operator()(char* text) const { std::free(text); }
};

// The best of a few runs: the others were disturbed.
template <class Work>
double seconds(Work work) {
  double best = 1e9;
  for (int i = 0; i < 5; ++i) {
    const auto start = std::chrono::steady_clock::now();
    work();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

// Nodes with `parents` parents of `states` states each, so that `count` tables hold all the numbers.
Domain large_domain(size_t count, size_t states, size_t parents) {
  Domain domain(tv_new_domain());
  std::vector<tv_node_t*> nodes;
  std::mt19937 random(5);
  std::uniform_real_distribution<float> uniform(0, 1);
  for (size_t i = 0; i < count + parents; ++i) {
    tv_node_t* node = tv_domain_new_node(domain.get(), tv_category_chance, tv_kind_discrete);
    tv_node_set_number_of_states(node, states);
    for (size_t p = 0; p < parents && i >= parents; ++p) tv_node_add_parent(node, nodes[p]);
    tv_table_t* table = tv_node_get_table(node);
    tv_number_t* data = tv_table_get_data(table);
    for (size_t k = 0; k < tv_table_get_size(table); ++k) data[k] = uniform(random);
    nodes.push_back(node);
  }
  return domain;
}

std::vector<tv_number_t> all_numbers(tv_domain_t* domain) {
  std::vector<tv_number_t> numbers;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    tv_table_t* table = tv_node_get_table(node);
    const tv_number_t* data = tv_table_get_data(table);
    numbers.insert(numbers.end(), data, data + tv_table_get_size(table));
  }
  return numbers;
}

// Comments name the configurations; other writers leave them out.
std::string without_comments(const std::string& text) {
  std::string bare;
  for (size_t at = 0; at < text.size();) {
    const size_t comment = std::min(text.find('%', at), text.size());
    bare.append(text, at, comment - at);
    at = std::min(text.find('\n', comment), text.size());
  }
  return bare;
}

void print_row(const char* what, double bytes, double time, double plain_rate) {
  const double rate = bytes / time / 1e6;
  std::printf("%-28s %8.1f MB  %8.1f MB/s", what, bytes / 1e6, rate);
  if (plain_rate > 0) std::printf("   %.2f times the plain loop", rate / plain_rate);
  std::printf("\n");
}

}  // namespace

int main() {
  const Domain domain = large_domain(20, 6, 6);
  const std::vector<tv_number_t> numbers = all_numbers(domain.get());

  std::unique_ptr<char, Free> text;
  const double write_time = seconds([&] { text.reset(tv_domain_to_net_string(domain.get())); });
  const std::string net = text.get();
  const double read_time = seconds([&] { Domain(tv_net_parse_from_string(net.c_str(), nullptr)); });

  std::string plain;
  plain.reserve(numbers.size() * 12);
  const double print_time = seconds([&] {
    plain.clear();
    char number[40];
    for (const tv_number_t value : numbers)
      plain.append(number, static_cast<size_t>(
                               std::snprintf(number, sizeof number, "%G ", static_cast<double>(value))));
  });
  double sum = 0;
  const double scan_time = seconds([&] {
    for (const char* at = plain.c_str(); *at;) {
      char* end;
      sum += std::strtod(at, &end);
      at = end + (*end == ' ');
    }
  });

  const double plain_bytes = static_cast<double>(plain.size()), net_bytes = static_cast<double>(net.size());
  const double scan_rate = plain_bytes / scan_time / 1e6, print_rate = plain_bytes / print_time / 1e6;
  std::printf("%zu numbers, sum %g\n", numbers.size(), sum);
  print_row("strtod over the numbers", plain_bytes, scan_time, 0);
  print_row("read NET", net_bytes, read_time, scan_rate);
  print_row("snprintf of the numbers", plain_bytes, print_time, 0);
  print_row("write NET", net_bytes, write_time, print_rate);

  const std::string bare = without_comments(net);
  const double bare_time = seconds([&] { Domain(tv_net_parse_from_string(bare.c_str(), nullptr)); });
  print_row("read NET without comments", static_cast<double>(bare.size()), bare_time, scan_rate);
  return 0;
}
