// The model of a potential: its nodes, an expression for each of their configurations, and how finely
// intervals are sampled.

#include <cmath>

#include "expr/model.h"
#include "expr/parse_expression.h"
#include "net/parser.h"
#include "network/links/links.h"

namespace tv {
tv_status_t NetParser::check_model_is_allowed(const Potential& potential) {
  if (potential.is_chain()) return fail("models cannot be specified for chain graph potentials");
  if (is_continuous(*potential.children.front())) return fail("models cannot be specified for CG nodes");
  return tv_status_none;
}

// `( name* )`
tv_status_t NetParser::parse_model_nodes(const Potential& potential) {
  Node& child = *potential.children.front();
  if (tv_status_t status = check_model_is_allowed(potential)) return status;
  if (child.model) return fail("`model_nodes' attribute specified twice");
  if (tv_status_t status = expect('(')) return status;
  NodeList nodes;
  for (;;) {
    const Token token = lexer_.next();
    if (token == punctuation(')')) return new_model(child, nodes);
    if (token != Token::name && token != Token::dotted_name) return fail("`)' or a node name expected");
    Node* const node = find_node(domain_, lexer_.view());
    if (!node) return fail("node `" + lexer_.text() + "' not found");
    if (nodes.contains(node))
      return fail("node `" + node->name + "' appears twice in `model_nodes' attribute");
    if (!is_parent(*node, child))
      return fail("node `" + node->name + "' is not a parent of node `" + child.name + "'");
    if (!is_discrete(*node)) return fail("the `model_nodes' attribute must contain discrete nodes only");
    nodes.push_back(node);
  }
}

// `( expression [ , expression ]* )`, the first model node varying slowest.
tv_status_t NetParser::parse_model_data(const Potential& potential) {
  Model* const model = potential.model();
  if (!model) return fail("`model_nodes' attribute has not been specified");
  if (!model->expressions.empty()) return fail("`model_data' attribute specified twice");
  if (model->size == kHugeSize) return tv_status_size_too_large;
  if (tv_status_t status = expect('(')) return status;
  std::vector<ExpressionOwner> expressions;  // so that a short text claims little memory
  while (expressions.size() < model->size) {
    if (!expressions.empty())
      if (tv_status_t status = expect(',')) return status;
    expressions.emplace_back();
    if (tv_status_t status = parse_expression(lexer_, domain_, expressions.back())) return status;
  }
  for (size_t index = 0; index < model->size; ++index)
    if (tv_status_t status = set_model_expression(*model, index, expressions[index].get())) return status;
  return expect(')');
}

tv_status_t NetParser::parse_samples_per_interval(const Potential& potential) {
  if (tv_status_t status = check_model_is_allowed(potential)) return status;
  Model* const model = potential.model();
  if (!model) return fail("`model_nodes' attribute has not been specified");
  WrittenNumber count;
  if (!read_written(count)) return fail("number expected");
  if (!(count.value >= 1 && count.value == std::floor(count.value)))
    return fail("`samples_per_interval' must be a positive integer");
  set_samples_per_interval(*model, to_size(count));
  return tv_status_none;
}

}  // namespace tv
