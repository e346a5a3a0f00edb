// Triangulating as the command line says, and elimination orders in files: a name on each line.
#include "triangulation.h"

#include <sstream>

#include "files.h"

namespace program {
namespace {

tv_triangulation_method_t method_by_name(const std::string& name) {
  for (const auto& [known, method] : kMethods)
    if (known == name) return method;
  return tv_method_best_greedy;
}

std::string without_blanks(const std::string& line) {
  const char* kBlanks = " \t\r";
  const size_t first = line.find_first_not_of(kBlanks);
  return first == std::string::npos ? "" : line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

// Null-terminated. Blank lines, and lines that begin with %, are passed over.
std::vector<tv_node_t*> read_order(const Network& network, const std::string& file) {
  std::istringstream text(read_file(file));
  std::vector<tv_node_t*> order;
  std::string line;
  for (size_t number = 1; std::getline(text, line); ++number) {
    const std::string name = without_blanks(line);
    if (name.empty() || name[0] == '%') continue;
    try {
      order.push_back(network.find(name));
    } catch (const Failure& failure) {
      throw Failure(kFailed, shown_file(file) + ":" + std::to_string(number) + ": " + failure.what());
    }
  }
  order.push_back(nullptr);
  return order;
}

void write_order(const Network& network, const std::string& file) {
  FileWriter writer(file);
  for (tv_node_t* node : each(tv_domain_get_elimination_order(network.domain())))
    std::fprintf(writer.stream(), "%s\n", tv_node_get_name(node));
  writer.commit();
}

void expect_order(tv_status_t status, const std::string& file) {
  if (status == tv_status_enumeration)
    throw Failure(kFailed, shown_file(file) +
                               ": no elimination order of the network: it must name every discrete and "
                               "continuous node once, the continuous ones first");
  expect(status, shown_file(file));
}

tv_status_t triangulate_by_options(const Network& network, const TriangulationOptions& options) {
  tv_domain_t* domain = network.domain();
  const size_t own_effort = options.method == kAutomatic ? TV_EFFORT_AUTO : 0;
  expect(tv_domain_set_triangulation_effort(domain, options.effort ? options.effort : own_effort),
         network.file());
  expect(tv_domain_set_max_number_of_separators(domain, options.max_separators), network.file());
  if (options.order.empty()) return tv_domain_triangulate(domain, method_by_name(options.method));
  std::vector<tv_node_t*> order = read_order(network, options.order);
  if (options.method != "total_weight") {
    const tv_status_t status = tv_domain_triangulate_with_order(domain, order.data());
    if (status == tv_status_enumeration) expect_order(status, options.order);
    return status;
  }
  expect_order(tv_domain_set_initial_triangulation(domain, order.data()), options.order);
  return tv_domain_triangulate(domain, tv_method_total_weight);
}

}  // namespace

void expect_consistent(const TriangulationOptions& options) {
  if (!options.order.empty() && options.method != kAutomatic && options.method != "total_weight")
    throw Failure(kWrongUsage,
                  "--order says how to triangulate; beside it stands --triangulation total_weight, "
                  "which starts from the order, or none");
}

tv_status_t triangulate(const Network& network, const TriangulationOptions& options) {
  const tv_status_t status = triangulate_by_options(network, options);
  if (status == tv_status_none && !options.save_order.empty()) write_order(network, options.save_order);
  return status;
}

}  // namespace program
