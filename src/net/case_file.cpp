// Files of one case: what is entered on the nodes of a domain, one node a line.

#include <limits>

#include "api/boundary.h"
#include "inference/evidence/evidence.h"
#include "net/case_values.h"
#include "net/file_access.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "text/lexer.h"
#include "text/output.h"
#include "text/state_text.h"

namespace tv {
namespace {

void write_finding(OutputSink& sink, const Node& node) {
  if (is_continuous(node)) return sink.number(node.entered.value);
  if (node.entered.state >= 0) return sink.text(finding_text(node, static_cast<size_t>(node.entered.state)));
  sink.text("(");
  for (size_t state = 0; state < node.number_of_states; ++state) {
    if (state) sink.text(" ");
    sink.table_number(entered_finding(node, state));
  }
  sink.text(")");
}

tv_status_t write_case(OutputSink& sink, Domain& domain) {
  for (Node& node : domain.nodes) {
    if (!is_discrete_or_continuous(node) || !_tv_node_evidence_is_entered(node)) continue;
    const char* const name = name_of(node);
    if (!name) return current_status();  // an automatic name could not be made
    sink.text(name);
    sink.text(": ");
    write_finding(sink, node);
    if (!node.label.empty()) {
      sink.text("\t% ");
      sink.text(quoted_text(node.label));
    }
    sink.text("\n");
  }
  return sink.finish();
}

// `(NAME : finding)*`. Errors stop the reading, but for a second finding for a node.
class CaseParser {
 public:
  CaseParser(Lexer& lexer, Domain& domain) noexcept : lexer_(lexer), domain_(domain) {}

  tv_status_t parse() {
    for (;;) {
      const Token token = lexer_.next();
      if (token == Token::end) return lexer_.error_count() ? tv_status_parse : tv_status_none;
      if (token != Token::name && token != Token::dotted_name) return fail("node name expected");
      if (tv_status_t status = parse_line()) return status;
    }
  }

 private:
  tv_status_t fail(const std::string& message) {
    if (lexer_.status()) return lexer_.status();
    lexer_.report_error(message.c_str());
    return tv_status_parse;
  }

  // The name has been read.
  tv_status_t parse_line() {
    Node* const node = find_node(domain_, lexer_.view());
    if (!node) return fail("the domain has no node named `" + lexer_.text() + "'");
    if (!can_have_findings(*node))
      return fail("only chance, decision, and discrete function nodes can have findings");
    if (_tv_node_evidence_is_entered(*node))
      lexer_.report_error(("findings specified twice for `" + node->name + "'").c_str());
    if (lexer_.next() != punctuation(':')) return fail("`:' expected");
    return parse_finding(*node, lexer_.next());
  }

  tv_status_t parse_finding(Node& node, Token token) {
    if (token == punctuation('#')) return parse_index(node);
    if (token == punctuation('(')) return parse_likelihood(node);
    size_t state = 0;
    if (token == Token::string) return select(node, state_of_label(node, lexer_.text(), state), state);
    if (token == Token::number) {
      if (!is_continuous(node)) return select(node, state_of_value(node, lexer_.number(), state), state);
      _tv_node_enter_value(node, lexer_.number());
      return tv_status_none;
    }
    if (token == Token::name && is_discrete(node) && node.subtype == tv_subtype_boolean)
      return select(node, state_of_word(lexer_.view(), state), state);
    return fail(token == Token::end ? "unexpected end-of-file" : "illegal token");
  }

  // `state` is what was found while the message was made.
  tv_status_t select(Node& node, const std::string& message, const size_t& state) {
    if (!message.empty()) return fail(message);
    _tv_node_select_state(node, state);
    return tv_status_none;
  }

  tv_status_t parse_index(Node& node) {
    if (!is_discrete(node)) return fail("state index can only be specified for discrete nodes");
    double index = -1;
    if (!lexer_.read_number(index)) index = -1;
    size_t state = 0;
    return select(node, state_of_index(node, index, state), state);
  }

  // The parenthesis has been read.
  tv_status_t parse_likelihood(Node& node) {
    if (!is_discrete(node)) return fail("likelihood can only be specified for discrete nodes");
    std::vector<tv_number_t> findings;
    for (Token token = lexer_.next(); findings.size() < node.number_of_states; token = lexer_.next()) {
      if (token == punctuation(')')) return fail("likelihood vector too short");
      if (token != Token::number) return fail("number expected");
      if (lexer_.number() < 0) return fail("likelihood values must be nonnegative");
      if (lexer_.number() >= kBeyondTables) return fail(kTooLarge);
      findings.push_back(static_cast<tv_number_t>(lexer_.number()));
    }
    lexer_.push_back();
    const Token token = lexer_.next();
    if (token == Token::number) return fail("likelihood vector too long");
    if (token != punctuation(')')) return fail("')' expected");
    return enter_likelihood(node, findings);
  }

  tv_status_t enter_likelihood(Node& node, const std::vector<tv_number_t>& findings) {
    for (const tv_number_t finding : findings)
      if (!(finding < std::numeric_limits<tv_number_t>::max()))
        return fail(std::string("API error: ") + tv_error_description(tv_status_usage));
    _tv_node_enter_findings(node, findings.data());
    return tv_status_none;
  }

  Lexer& lexer_;
  Domain& domain_;
};

}  // namespace
}  // namespace tv

tv_status_t tv_domain_save_case(tv_domain_t* domain, const char* file_name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && file_name)) return tv_status_usage;
    return tv::write_file(file_name, [&](tv::OutputSink& sink) { return tv::write_case(sink, *domain); });
  });
}

tv_status_t tv_domain_parse_case(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                 void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && file_name)) return tv_status_usage;
    bool began = false;
    const auto read = [&](tv::Lexer& lexer) {
      began = true;
      tv::retract_all_findings(*domain);
      return tv::CaseParser(lexer, *domain).parse();
    };
    const tv_status_t status = tv::read_file(file_name, {handler, handler_data}, read);
    if (status && began) tv::retract_all_findings(*domain);
    return status;
  });
}
