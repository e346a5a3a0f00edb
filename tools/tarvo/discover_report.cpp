// What was found, for people and for programs.
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "discovery.h"
#include "files.h"
#include "progress.h"

namespace program {
namespace {

struct Link {
  std::string from, to;            // as it is written
  bool is_directed;                // as it was learned
  double p_value;                  // negative where there is none
  double forward, backward, open;  // shares of the bootstrap; negative where there is none
};

std::vector<Link> links_of(const Discovery& discovery) {
  std::vector<Link> links;
  const tv_structure_t* const directed = discovery.directed.get();
  for (size_t i = 0; i < tv_structure_get_number_of_links(directed); ++i) {
    size_t from = 0, to = 0;
    tv_structure_get_link(directed, i, &from, &to);
    const bool is_directed =
        tv_structure_get_link_between(discovery.structure.get(), from, to) != tv_structure_link_undirected;
    Link link{tv_structure_get_node_name(directed, from),
              tv_structure_get_node_name(directed, to),
              is_directed,
              tv_structure_get_p_value(discovery.structure.get(), from, to),
              -1.0,
              -1.0,
              -1.0};
    if (const tv_bootstrap_t* const bootstrap = discovery.bootstrap.get()) {
      link.forward = tv_bootstrap_get_frequency(bootstrap, from, to, tv_structure_link_directed);
      link.backward = tv_bootstrap_get_frequency(bootstrap, from, to, tv_structure_link_reversed);
      link.open = tv_bootstrap_get_frequency(bootstrap, from, to, tv_structure_link_undirected);
    }
    links.push_back(link);
  }
  return links;
}

// 1 is the library's way to say that there is none.
bool has_score(const tv_structure_t* structure) { return tv_structure_get_score(structure) != 1.0; }

Json json_of(const Link& link, bool has_bootstrap) {
  Json json = {{"from", link.from}, {"to", link.to}, {"directed", link.is_directed}};
  if (link.p_value >= 0) json["p_value"] = json_number(link.p_value);
  if (has_bootstrap) {
    json["found_forward"] = json_number(link.forward);
    json["found_backward"] = json_number(link.backward);
    json["found_undirected"] = json_number(link.open);
  }
  return json;
}

Json json_of(const Discovery& discovery, const DiscoverOptions& options) {
  const tv_structure_t* const structure = discovery.structure.get();
  Json document = {{"command", "discover"},
                   {"data", options.cases.data.file},
                   {"out", options.to},
                   {"method", options.method},
                   {"interrupted", was_interrupted()},
                   {"cases", discovery.cases},
                   {"nodes", tv_structure_get_number_of_nodes(structure)},
                   {"hidden_nodes", discovery.hidden}};
  if (options.method == "tests" && !discovery.bootstrap) {
    document["tests"] = tv_structure_get_number_of_tests(structure);
    document["refused_tests"] = tv_structure_get_number_of_refused_tests(structure);
  }
  if (discovery.bootstrap) document["samples"] = options.samples;
  if (!discovery.bootstrap && has_score(structure) && options.method != "tests") {
    document["score"] = options.score;
    document["score_value"] = json_number(tv_structure_get_score(structure));
  }
  if (discovery.scores) {
    document["log_likelihood"] = json_number(discovery.scores->log_likelihood);
    document["aic"] = json_number(discovery.scores->aic);
    document["bic"] = json_number(discovery.scores->bic);
  }
  if (discovery.errors) {
    document["held_out_errors_before"] = json_number(discovery.errors->first);
    document["held_out_errors"] = json_number(discovery.errors->second);
  }
  document["links"] = Json::array();
  for (const Link& link : links_of(discovery))
    document["links"].push_back(json_of(link, bool(discovery.bootstrap)));
  return document;
}

std::string shown_share(double share) {
  char text[32];
  std::snprintf(text, sizeof text, "%3.0f%%", 100.0 * share);
  return text;
}

void print_links(const Discovery& discovery) {
  TextTable table;
  for (const Link& link : links_of(discovery)) {
    std::vector<std::string> row{printable(link.from), "->", printable(link.to)};
    if (discovery.bootstrap)
      row.push_back("found " + shown_share(link.forward + link.backward + link.open) + ", this way " +
                    shown_share(link.forward) + ", the other " + shown_share(link.backward));
    else if (!link.is_directed)
      row.push_back("either way");
    table.push_back(std::move(row));
  }
  if (!table.empty()) std::printf("\n");
  print_table(table);
}

void print_text(const Discovery& discovery, const DiscoverOptions& options) {
  if (was_interrupted()) std::fprintf(stderr, "interrupted: the best found so far is written\n");
  if (options.to == "-") return;
  std::printf("%s\n", printable(options.to).c_str());
  const tv_structure_t* const structure = discovery.structure.get();
  TextTable table{{"nodes", std::to_string(tv_structure_get_number_of_nodes(structure))},
                  {"links", std::to_string(tv_structure_get_number_of_links(structure))}};
  if (!discovery.hidden.empty()) table.push_back({"  hidden nodes", std::to_string(discovery.hidden.size())});
  if (options.method == "tests" && !discovery.bootstrap) {
    table.push_back({"tests", std::to_string(tv_structure_get_number_of_tests(structure))});
    table.push_back({"  refused", std::to_string(tv_structure_get_number_of_refused_tests(structure))});
  }
  print_table(table, "  ");
  if (discovery.scores) print_scores(*discovery.scores);
  if (discovery.errors)
    print_table({{"errors held out", shown_share(discovery.errors->second)},
                 {"  before tuning", shown_share(discovery.errors->first)}},
                "  ");
  print_links(discovery);
}

}  // namespace

void report(const Discovery& discovery, const DiscoverOptions& options) {
  if (options.format == Format::kText) return print_text(discovery, options);
  const Json document = json_of(discovery, options);
  if (options.format == Format::kJson) return print_json(document);
  const CsvWriter csv(
      {"from", "to", "directed", "p_value", "found_forward", "found_backward", "found_undirected"});
  for (const Json& link : document["links"]) {
    const auto number = [&](const char* key) {
      return link.contains(key) ? link[key].dump() : std::string();
    };
    csv.row({link["from"].get<std::string>(), link["to"].get<std::string>(), number("directed"),
             number("p_value"), number("found_forward"), number("found_backward"),
             number("found_undirected")});
  }
}

}  // namespace program
