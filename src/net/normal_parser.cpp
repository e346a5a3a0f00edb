// The leaves of a continuous node's table: `normal ( mean, variance )`, one regression of the node on its
// continuous parents for each configuration of the discrete ones. The mean is a sum of numbers, names and
// products of a number with a name; terms of the same parent add up.

#include <cmath>

#include "net/parser.h"

namespace tv {

// `continuous` are the node itself and then its continuous parents, `block` the zeros to be filled in.
tv_status_t NetParser::parse_normal(const NodeList& continuous, std::vector<double>& block) {
  if (lexer_.next() != Token::name || lexer_.view() != "normal")
    return fail("the keyword `normal' was expected");
  if (tv_status_t status = expect('(')) return status;
  if (tv_status_t status = parse_mean(continuous, block)) return status;
  double& variance = block[cg_covariance_index(0, 0)];
  if (!lexer_.read_number(variance)) return fail("variance (a nonnegative <number>) expected");
  if (variance < 0) return fail("variance must be nonnegative");
  return expect(')');
}

// Up to and with the comma. Signs join the terms, so no number swallows one.
tv_status_t NetParser::parse_mean(const NodeList& continuous, std::vector<double>& block) {
  Token token = lexer_.next_operand();
  do {
    double sign = 1;
    if (token == punctuation('+') || token == punctuation('-'))
      sign = token == punctuation('-') ? -1 : 1;
    else
      lexer_.push_back();
    if (tv_status_t status = parse_term(sign, continuous, block)) return status;
    token = lexer_.next_operand();
  } while (token == punctuation('+') || token == punctuation('-'));
  if (token != punctuation(',')) return fail("expected one of: ,+-");
  for (const double entry : block)
    if (!std::isfinite(entry)) return tv_status_overflow;
  return tv_status_none;
}

// `number`, `name` or `number * name`; the number may have a sign of its own.
tv_status_t NetParser::parse_term(double sign, const NodeList& continuous, std::vector<double>& block) {
  constexpr const char* message = "<number> or <node name> expected in mean value expression";
  Token token = lexer_.next();
  double factor = sign;
  if (token == Token::number) {
    factor *= lexer_.number();
    token = lexer_.next_operand();
    if (token != punctuation('*')) {
      lexer_.push_back();
      block[cg_mean_index(0)] += factor;
      return tv_status_none;
    }
    token = lexer_.next();
  }
  if (token != Token::name && token != Token::dotted_name) return fail(message);
  for (size_t i = 1; i < continuous.size(); ++i) {
    if (continuous[i]->name != lexer_.view()) continue;
    block[cg_covariance_index(i, 0)] += factor;
    return tv_status_none;
  }
  return fail("node `" + lexer_.text() + "' is not part of the table");
}

}  // namespace tv
