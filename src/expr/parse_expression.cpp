#include "expr/parse_expression.h"

#include <cmath>

#include "api/boundary.h"
#include "api/streams.h"
#include "network/node_operations.h"

namespace tv {
namespace {

tv_operator_t comparison_of(Token token) noexcept {
  if (token == Token::equal) return tv_operator_equals;
  if (token == Token::not_equal) return tv_operator_not_equals;
  if (token == Token::less_or_equal) return tv_operator_less_than_or_equals;
  if (token == Token::greater_or_equal) return tv_operator_greater_than_or_equals;
  if (token == punctuation('<')) return tv_operator_less_than;
  return token == punctuation('>') ? tv_operator_greater_than : -1;
}

class ExpressionParser {
 public:
  ExpressionParser(Lexer& lexer, Domain& domain) noexcept : lexer_(lexer), domain_(domain) {}

  tv_status_t parse(ExpressionOwner& result) {
    if (++nesting_ > kMaxNesting) return fail("expression is nested too deeply");
    if (tv_status_t status = parse_simple(result)) return status;
    const tv_operator_t op = comparison_of(next());
    if (op < 0) {
      lexer_.push_back();
    } else {
      ExpressionOwner right;
      if (tv_status_t status = parse_simple(right)) return status;
      if (tv_status_t status = combine(op, result, std::move(right))) return status;
    }
    --nesting_;
    return tv_status_none;
  }

 private:
  Token next() { return lexer_.next_operand(); }
  bool next_is(char character) {
    if (next() == punctuation(character)) return true;
    lexer_.push_back();
    return false;
  }

  tv_status_t fail(const std::string& message) {
    // The lexer has reported its own troubles, except that a stream could not be read.
    const tv_status_t status = lexer_.status();
    if (status) return status == tv_status_parse ? tv_status_syntax : status;
    lexer_.report_error(message.c_str());
    return tv_status_syntax;
  }

  tv_status_t report(tv_status_t status) {
    const std::string message =
        std::string("API error: ") + tv_error_description(static_cast<unsigned>(status));
    lexer_.report_error(message.c_str());
    return status;
  }

  tv_status_t build(tv_operator_t op, std::vector<ExpressionOwner>&& operands, ExpressionOwner& result) {
    result = make_composite(op, std::move(operands));
    return result ? tv_status_none : report(tv_status_invalid_expression);
  }

  tv_status_t combine(tv_operator_t op, ExpressionOwner& left, ExpressionOwner right) {
    std::vector<ExpressionOwner> operands;
    operands.push_back(std::move(left));
    if (right) operands.push_back(std::move(right));
    return build(op, std::move(operands), left);
  }

  // A sign counts for the whole first term: -2 ^ 2 and -2 * x are negations. A number alone takes it in.
  tv_status_t parse_simple(ExpressionOwner& result) {
    const bool negative = next_is('-');
    if (!negative) next_is('+');
    if (tv_status_t status = parse_term(result)) return status;
    if (negative) {
      if (result->op == tv_operator_number && !std::signbit(result->number))
        result->number = -result->number;
      else if (tv_status_t status = combine(tv_operator_negate, result, nullptr))
        return status;
    }
    return parse_chain(result, {'+', tv_operator_add}, {'-', tv_operator_subtract},
                       &ExpressionParser::parse_term);
  }

  tv_status_t parse_term(ExpressionOwner& result) {
    if (tv_status_t status = parse_power(result)) return status;
    return parse_chain(result, {'*', tv_operator_multiply}, {'/', tv_operator_divide},
                       &ExpressionParser::parse_power);
  }

  struct Symbol {
    char character;
    tv_operator_t op;
  };

  // More operands behind the first, joined by either of two operators, from left to right.
  tv_status_t parse_chain(ExpressionOwner& result, Symbol one, Symbol other,
                          tv_status_t (ExpressionParser::*parse_operand)(ExpressionOwner&)) {
    for (;;) {
      const Token token = next();
      const bool is_one = token == punctuation(one.character);
      if (!is_one && token != punctuation(other.character)) break;
      ExpressionOwner right;
      if (tv_status_t status = (this->*parse_operand)(right)) return status;
      if (tv_status_t status = combine(is_one ? one.op : other.op, result, std::move(right))) return status;
    }
    lexer_.push_back();
    return tv_status_none;
  }

  // From right to left, without recursion: 2 ^ 3 ^ 2 is 2 ^ 9.
  tv_status_t parse_power(ExpressionOwner& result) {
    std::vector<ExpressionOwner> bases;
    for (;;) {
      if (tv_status_t status = parse_factor(result)) return status;
      if (!next_is('^')) break;
      bases.push_back(std::move(result));
    }
    for (; !bases.empty(); bases.pop_back()) {
      ExpressionOwner exponent = std::move(result);
      result = std::move(bases.back());
      if (tv_status_t status = combine(tv_operator_power, result, std::move(exponent))) return status;
    }
    return tv_status_none;
  }

  tv_status_t parse_factor(ExpressionOwner& result) {
    const Token token = next();
    if (token == punctuation('#')) return parse_state_index(result);
    if (token == Token::dotted_name) return find_name(lexer_.text(), result);
    if (token == Token::name) {
      const std::string name = lexer_.text();
      return next_is('(') ? parse_call(name, result) : find_name(name, result);
    }
    if (token == punctuation('(')) {
      if (tv_status_t status = parse(result)) return status;
      return next() == punctuation(')') ? tv_status_none : fail("`)' expected");
    }
    if (token == Token::number)
      result = make_number(lexer_.number());
    else if (token == Token::string)
      result = make_label(lexer_.view());
    else
      return fail("unexpected token");
    return tv_status_none;
  }

  tv_status_t parse_state_index(ExpressionOwner& result) {
    if (++nesting_ > kMaxNesting) return fail("expression is nested too deeply");
    if (tv_status_t status = parse_factor(result)) return status;
    --nesting_;
    if (result->op != tv_operator_node || result->type != ValueType::unknown)
      return fail("`#' must be followed by the name of a discrete node");
    return combine(tv_operator_state_index, result, nullptr);
  }

  // The opening parenthesis has been read.
  tv_status_t parse_call(const std::string& name, ExpressionOwner& result) {
    const tv_operator_t op = find_operator(name);
    if (op < 0) return fail("unknown operator `" + name + "'");
    std::vector<ExpressionOwner> operands;
    if (!next_is(')')) {
      for (;;) {
        operands.emplace_back();
        if (tv_status_t status = parse(operands.back())) return status;
        const Token token = next();
        if (token == punctuation(')')) break;
        if (token != punctuation(',')) return fail("`,' or `)' expected");
      }
    }
    return build(op, std::move(operands), result);
  }

  // A node goes before a truth value of the same name.
  tv_status_t find_name(const std::string& name, ExpressionOwner& result) {
    Node* node = find_node(domain_, name);
    if (node && node->category == tv_category_instance) return report(tv_status_usage);
    if (node)
      result = make_node(*node);
    else if (name == "true" || name == "false")
      result = make_boolean(name == "true");
    else
      return fail("no such node: " + name);
    return tv_status_none;
  }

  Lexer& lexer_;
  Domain& domain_;
  size_t nesting_ = 0;
};

// The whole text is one expression.
tv_status_t parse_text(std::string_view text, Domain& domain, MessageHandler handler,
                       ExpressionOwner& result) {
  Lexer lexer(text, handler);
  if (tv_status_t status = parse_expression(lexer, domain, result)) return status;
  if (lexer.next_operand() == Token::end) return tv_status_none;
  if (!lexer.status()) lexer.report_error("unexpected token");
  return lexer.status() == tv_status_no_memory ? tv_status_no_memory : tv_status_syntax;
}

}  // namespace

tv_status_t parse_expression(Lexer& lexer, Domain& domain, ExpressionOwner& result) {
  return ExpressionParser(lexer, domain).parse(result);
}

}  // namespace tv

tv_expression_t* tv_domain_string_to_expression(tv_domain_t* domain, const char* text,
                                                tv_error_handler_t handler, void* handler_data) {
  return tv_string_to_expression(text, domain, handler, handler_data);
}

tv_expression_t* tv_string_parse_expression(const char* text, tv_domain_t* domain, tv_error_handler_t handler,
                                            void* handler_data) {
  return tv_string_to_expression(text, domain, handler, handler_data);
}

tv_expression_t* tv_string_to_expression(const char* text, tv_domain_t* domain, tv_error_handler_t handler,
                                         void* handler_data) {
  return tv::guarded(static_cast<tv_expression_t*>(nullptr), [&]() -> tv_expression_t* {
    if (!tv::check(text && domain)) return nullptr;
    tv::ExpressionOwner result;
    const tv_status_t status = tv::parse_text(text, *domain, {handler, handler_data}, result);
    return tv::store_status(status) ? nullptr : result.release();
  });
}
