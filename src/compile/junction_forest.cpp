// From ordered cliques to linked junction trees. Cliques are created tree by tree, each tree in
// post-order, so that in the domain's list (newest first) every parent comes before its children.
#include "compile/junction_forest.h"

#include <algorithm>
#include <queue>

namespace tv {
namespace {

constexpr size_t kHugePrintedSize = size_t{1} << 53;

// Sizes print like costs: "HUGE" from 2^53 on.
const char* size_text(PrintContext& context, size_t size) noexcept {
  return _tv_print_size(context, size < kHugePrintedSize ? size : kHugeSize);
}

void trace_size(Trace& trace, PrintContext& context, size_t size, size_t cg_total) noexcept {
  trace.text(size_text(context, size));
  if (cg_total > 0) trace.print(" + %s", size_text(context, cg_total));
}

// The cliques of a triangulation in the order of their creation.
std::vector<size_t> creation_order(const CliqueOrder& search) {
  std::vector<std::vector<size_t>> children(search.parent.size());
  for (const size_t i : search.order) {
    if (search.parent[i] != CliqueOrder::kNoParent) children[search.parent[i]].push_back(i);
  }
  struct Step {
    size_t clique, next_child;
  };
  std::vector<size_t> order;
  order.reserve(search.order.size());
  std::vector<Step> path;
  for (const size_t root : search.order) {
    if (search.parent[root] != CliqueOrder::kNoParent) continue;
    path.push_back({root, 0});
    while (!path.empty()) {
      Step& step = path.back();
      if (step.next_child < children[step.clique].size()) {
        path.push_back({children[step.clique][step.next_child++], 0});
      } else {
        order.push_back(step.clique);
        path.pop_back();
      }
    }
  }
  return order;
}

void make_clique_table(Table& table, Domain& domain, const NodeList& members) {
  table.domain = &domain;
  table.kind = TableKind::clique;
  table.locked = true;
  set_table_nodes(table, members);
}

std::unique_ptr<Clique> make_clique(Domain& domain, const NodeList& members, double weight) {
  auto clique = std::make_unique<Clique>();
  clique->weight = weight;
  make_clique_table(clique->table, domain, members);
  if (domain.counters.utility > 0) {
    NodeList discrete;
    for (Node* member : members) {
      if (is_discrete(*member)) discrete.push_back(member);
    }
    clique->utility_table = std::make_unique<Table>();
    make_clique_table(*clique->utility_table, domain, discrete);
  }
  return clique;
}

void store_elimination_order(Forest& forest, const Triangulation& triangulation) {
  auto rank = static_cast<uint32_t>(triangulation.graph.size());
  for (const Node* node : elimination_sequence(triangulation))
    forest.nodes[node->number - 1].elimination_rank = rank--;
}

std::unique_ptr<Separator> make_separator(Clique& child, NodeList members) {
  auto separator = std::make_unique<Separator>();
  size_t continuous = 0;
  for (const Node* member : members) {
    if (is_discrete(*member)) {
      separator->size = size_multiply(separator->size, member->number_of_states);
    } else {
      ++continuous;
    }
  }
  separator->cg_size = cg_size_for(continuous);
  separator->members = std::move(members);
  separator->child = &child;
  return separator;
}

void start_tree(Forest& forest, Clique& root, Trace& trace) {
  auto tree = std::make_unique<JunctionTree>();
  tree->domain = forest.domain;
  tree->root = &root;
  root.tree = &forest.trees.push_front(std::move(tree));
  ++forest.tree_count;
  trace.print("\nCreating junction tree with clique %zu as root ...\n", size_t{root.index});
}

// Gives every clique an empty list that is followed by room for all of its links.
void make_room_for_links(Forest& forest) {
  std::vector<size_t> counts(forest.clique_count + 1, 0);
  size_t total = 0;
  for (const Clique& clique : forest.cliques) {
    if (!clique.parent) continue;
    ++counts[clique.index];
    ++counts[clique.parent->index];
    total += 2;
  }
  forest.links.resize(total);
  Link* next = forest.links.data();
  for (Clique& clique : forest.cliques) {
    clique.links = {next, 0};
    next += counts[clique.index];
  }
}

void add_link(Clique& clique, const Link& link) noexcept {
  clique.links = {clique.links.data(), clique.links.size() + 1};
  clique.links.back() = link;
}

void add_clique_link(Clique& child, Trace& trace) {
  Clique& parent = *child.parent;
  Separator& separator = *child.parent_separator;
  child.tree = parent.tree;
  add_link(child, {&parent, &separator});
  add_link(parent, {&child, &separator});
  if (!trace.enabled()) return;
  const size_t count = separator.members.size();
  trace.print("\nCliques %zu and %zu linked, separator has %zu member%s and table size = ",
              size_t{child.index}, size_t{parent.index}, count, count == 1 ? "" : "s");
  trace_size(trace, child.domain().print_context, separator.size,
             size_multiply(separator.size, separator.cg_size));
  if (count == 0) return;
  trace.text(":\n");
  trace_names(trace, separator.members.begin(), separator.members.end());
}

// A propagation towards a strong root may leave the region of the root only by way of these.
void jt_assign_way_to_strong_root(Clique& clique) noexcept {
  if (!clique.parent) return;
  if (clique.parent_separator->cg_size > 0 || clique.parent->way_to_strong_root) {
    clique.way_to_strong_root = clique.parent;
  }
}

}  // namespace

void create_cliques(Forest& forest, const Triangulation& triangulation) {
  const CliqueOrder& search = triangulation.search;
  store_elimination_order(forest, triangulation);
  std::vector<Clique*> records(triangulation.cliques.size());
  const std::vector<size_t> order = creation_order(search);
  VertexSet by_number;
  for (const size_t i : order) {
    by_number = triangulation.cliques[i];
    std::sort(by_number.begin(), by_number.end(),
              [&](Vertex a, Vertex b) { return search.number[a] < search.number[b]; });
    NodeList members, shared;
    members.reserve(by_number.size());
    const auto is_shared = [&](Vertex v) { return search.visited_by[v] != i; };
    shared.reserve(static_cast<size_t>(std::count_if(by_number.begin(), by_number.end(), is_shared)));
    for (const Vertex v : by_number) {
      members.push_back(triangulation.graph.nodes[v]);
      if (is_shared(v)) shared.push_back(triangulation.graph.nodes[v]);
    }
    const double weight = compute_weight(triangulation.graph, triangulation.cliques[i]);
    Clique& clique = forest.cliques.push_front(make_clique(*forest.domain, members, weight));
    clique.index = static_cast<uint32_t>(++forest.clique_count);
    if (search.parent[i] != CliqueOrder::kNoParent)
      clique.parent_separator = make_separator(clique, std::move(shared));
    records[i] = &clique;
  }
  for (const size_t i : order) {
    if (search.parent[i] == CliqueOrder::kNoParent) continue;
    Clique& clique = *records[i];
    clique.parent = clique.parent_separator->parent = records[search.parent[i]];
  }
}

void report_cliques(const Forest& forest, Trace& trace) {
  if (!trace.enabled()) return;
  PrintContext& context = forest.domain->print_context;
  size_t total = 0, cg_total = 0;
  trace.text("\n\nCliques:\n");
  for (const Clique& clique : forest.cliques) {
    const Table& table = clique.table;
    const size_t cg_entries = size_multiply(table.size, table.cg_size);
    total = size_add(total, table.size);
    cg_total = size_add(cg_total, cg_entries);
    trace.print("\nClique %zu, %zu member%s, table size = ", size_t{clique.index}, table.nodes.size(),
                table.nodes.size() == 1 ? "" : "s");
    trace_size(trace, context, table.size, cg_entries);
    trace.text(":\n");
    trace_names(trace, table.nodes.begin(), table.nodes.end());
  }
  trace.text("\nTotal clique table size: ");
  trace_size(trace, context, total, cg_total);
  trace.text("\n");
}

void build_junction_forest(Forest& forest, Trace& trace) {
  trace.text("\n\nThe junction forest:\n");
  make_room_for_links(forest);
  for (Clique& clique : forest.cliques) {
    if (clique.parent) {
      add_clique_link(clique, trace);
    } else {
      start_tree(forest, clique, trace);
    }
    JunctionTree& tree = *clique.tree;
    clique.position = static_cast<uint32_t>(tree.cliques.size());
    tree.cliques.push_back(&clique);
    tree.has_continuous = tree.has_continuous || clique.has_continuous();
    jt_assign_way_to_strong_root(clique);
  }
  for (JunctionTree& tree : forest.trees) {
    tree.cliques.push_back(nullptr);
    tree.cliques.shrink_to_fit();
  }
}

// A topological walk that puts off every decision as long as anything else can go on; of the decisions
// that can come next the one with the lowest number does.
NodeList _tv_domain_create_decision_order(const Domain& domain) {
  NodeList order;
  if (domain.counters.decision == 0) return order;
  const auto is_later = [](const Node* a, const Node* b) { return a->number > b->number; };
  std::priority_queue<Node*, std::vector<Node*>, decltype(is_later)> decisions(is_later);
  std::vector<Node*> others;
  std::vector<size_t> waiting_for(domain.node_count);  // parents that are yet to come
  const auto make_ready = [&](Node* node) {
    if (node->category == tv_category_decision) {
      decisions.push(node);
    } else {
      others.push_back(node);
    }
  };
  for (Node& node : domain.nodes) {
    waiting_for[node.number - 1] = node.parents.size();
    if (node.parents.empty()) make_ready(&node);
  }
  while (!others.empty() || !decisions.empty()) {
    Node* node;
    if (!others.empty()) {
      node = others.back();
      others.pop_back();
    } else {
      node = decisions.top();
      decisions.pop();
      order.push_back(node);
    }
    for (Node* child : node->children) {
      if (--waiting_for[child->number - 1] == 0) make_ready(child);
    }
  }
  return order;
}

}  // namespace tv
