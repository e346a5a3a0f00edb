#include "cases.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace bench {
namespace {

constexpr size_t kDraws = 40;

// A generator whose start costs nothing, unlike those with long states.
uint64_t scrambled(uint64_t number) {
  number += 0x9e3779b97f4a7c15u;
  number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9u;
  number = (number ^ (number >> 27)) * 0x94d049bb133111ebu;
  return number ^ (number >> 31);
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

}  // namespace

Cases::Cases(tv_domain_t* domain) {
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    nodes_.push_back(node);
  for (unsigned seed = 1; seed <= kDraws; ++seed) {
    const std::map<tv_node_t*, size_t> states = drawn_states(domain, seed);
    draws_.emplace_back();
    for (tv_node_t* node : nodes_) draws_.back().push_back(states.at(node));
  }
}

Evidence Cases::of(uint64_t set, uint64_t draw) const {
  Evidence evidence;
  const std::vector<size_t>& states = draws_[draw % kDraws];
  uint64_t random = scrambled(set);
  for (size_t n = 0; n < nodes_.size(); ++n)
    if ((random = scrambled(random)) % 5 == 0) evidence.emplace_back(nodes_[n], states[n]);
  if (evidence.empty()) evidence.emplace_back(nodes_[set % nodes_.size()], states[set % nodes_.size()]);
  return evidence;
}

void ask(tv_domain_t* domain, const Evidence& evidence) {
  expect(tv_domain_retract_findings(domain));
  for (const auto& [node, state] : evidence) expect(tv_node_select_state(node, state));
  expect(tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal));
}

double read_beliefs(tv_node_t* node) {
  double sum = 0;
  for (size_t state = 0; state < tv_node_get_number_of_states(node); ++state)
    sum += static_cast<double>(tv_node_get_belief(node, state));
  return sum;
}

double read_all_beliefs(tv_domain_t* domain) {
  double sum = 0;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node))
    sum += read_beliefs(node);
  return sum;
}

double cold_answer(const Workload& workload) {
  const File input(std::tmpfile(), std::fclose);
  int channel[2];
  if (!input || pipe(channel) != 0) throw std::runtime_error("no file for another process");
  std::fputs(workload.source.c_str(), input.get());
  std::rewind(input.get());
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(input.get()), STDIN_FILENO);
    dup2(channel[1], STDOUT_FILENO);
    close(channel[0]);
    execl("/proc/self/exe", "tarvo_bench", "--answer-cold", nullptr);
    _exit(127);
  }
  close(channel[1]);
  char text[64] = {};
  const ssize_t length = child > 0 ? read(channel[0], text, sizeof text - 1) : 0;
  close(channel[0]);
  int status = 1;
  if (child > 0) waitpid(child, &status, 0);
  if (length <= 0 || status != 0) throw std::runtime_error("another process failed");
  return std::atof(text);
}

int answer_cold() {
  std::string source;
  for (int c; (c = std::getchar()) != EOF;) source += static_cast<char>(c);
  try {
    const Domain domain = load_network(source.c_str());
    expect(tv_domain_triangulate(domain.get(), tv_method_best_greedy));
    const double time = milliseconds([&] {
      expect(tv_domain_compile(domain.get()));
      read_all_beliefs(domain.get());
    });
    std::printf("%.6f\n", time);
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  return 0;
}

}  // namespace bench
