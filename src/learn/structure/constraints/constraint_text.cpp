// Reading and writing constraints. What contradicts other constraints is left to the check against a domain,
// but for a node in two tiers, of which no record could be kept.
#include "learn/structure/constraints/constraint_text.h"

#include <charconv>

#include "net/file_access.h"
#include "network/node_operations.h"
#include "text/state_text.h"

namespace tv {
namespace {

constexpr size_t kMostErrors = 20;  // are told before the parser gives up
constexpr size_t kWidth = 100;      // of the lines that are written

class ConstraintParser {
 public:
  ConstraintParser(Lexer& lexer, Constraints& constraints) noexcept
      : lexer_(lexer), constraints_(constraints) {}

  tv_status_t parse() {
    for (;;) {
      const Token token = lexer_.next_operand();
      if (token == Token::end) return failure_;
      const tv_status_t status = parse_statement(token);
      if (!status) continue;
      if (!failure_) failure_ = status;
      if (!skip_statement()) return failure_;
    }
  }

 private:
  tv_status_t parse_statement(Token first) {
    if (first == Token::name) {
      const std::string word = lexer_.text();
      if (word == "tier") return parse_tier();
      if (word == "no") return parse_closed_tier();
      if (word == "require")
        return parse_links(ConstraintKind::require_link, ConstraintKind::require_adjacency);
      if (word == "forbid") return parse_links(ConstraintKind::forbid_link, ConstraintKind::forbid_adjacency);
    }
    return fail("`tier', `no', `require' or `forbid' expected");
  }

  // `tier NUMBER : NAME (, NAME)* ;`
  tv_status_t parse_tier() {
    size_t tier = 0;
    if (tv_status_t status = parse_tier_number(tier)) return status;
    if (lexer_.next_operand() != punctuation(':')) return fail("`:' expected");
    return parse_list([&]() -> tv_status_t {
      std::string name;
      if (tv_status_t status = parse_name(name)) return status;
      if (!put_into_tier(constraints_, name, tier)) complain("node `" + name + "' has two tiers");
      return tv_status_none;
    });
  }

  // `no links in tier NUMBER ;`
  tv_status_t parse_closed_tier() {
    for (const char* word : {"links", "in", "tier"})
      if (lexer_.next_operand() != Token::name || lexer_.view() != word)
        return fail("`no links in tier' expected");
    size_t tier = 0;
    if (tv_status_t status = parse_tier_number(tier)) return status;
    if (lexer_.next_operand() != punctuation(';')) return fail("`;' expected");
    constraints_.closed_tiers.insert(tier);
    return tv_status_none;
  }

  // `require PAIR (, PAIR)* ;` with pairs `a -> b`, `a <- b` and `a - b`.
  tv_status_t parse_links(ConstraintKind directed, ConstraintKind undirected) {
    return parse_list([&]() -> tv_status_t {
      Constraint constraint{directed, {}, {}};
      if (tv_status_t status = parse_name(constraint.from)) return status;
      Line line = Line::plain;
      if (tv_status_t status = parse_line(line)) return status;
      if (tv_status_t status = parse_name(constraint.to)) return status;
      if (constraint.from == constraint.to) complain("a link from node `" + constraint.to + "' to itself");
      if (line == Line::plain) constraint.kind = undirected;
      if (line == Line::backward) std::swap(constraint.from, constraint.to);
      constraints_.links.insert(std::move(constraint));
      return tv_status_none;
    });
  }

  template <class ParseItem>
  tv_status_t parse_list(ParseItem parse_item) {
    for (;;) {
      if (tv_status_t status = parse_item()) return status;
      if (lexer_.error_count() >= kMostErrors) return tv_status_parse;
      const Token token = lexer_.next_operand();
      if (token == punctuation(';')) return tv_status_none;
      if (token != punctuation(',')) return fail("`,' or `;' expected");
    }
  }

  tv_status_t parse_tier_number(size_t& tier) {
    if (lexer_.next_operand() == Token::number) {
      const std::string_view text = lexer_.number_text();
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), tier);
      if (error == std::errc() && end == text.data() + text.size()) return tv_status_none;
    }
    return fail("the number of a tier expected");
  }

  tv_status_t parse_name(std::string& name) {
    const Token token = lexer_.next_operand();
    if (token != Token::name && token != Token::dotted_name && token != Token::string)
      return fail("the name of a node expected");
    name = lexer_.text();
    return tv_status_none;
  }

  enum class Line { plain, forward, backward };

  // Nothing stands between the two characters of an arrow.
  tv_status_t parse_line(Line& line) {
    const Token first = lexer_.next_operand();
    const size_t behind_first = lexer_.offset();
    if (first != punctuation('-') && first != punctuation('<')) return fail("`->', `<-' or `-' expected");
    const Token second = lexer_.next_operand();
    const bool is_together = lexer_.offset() == behind_first + 1;
    if (first == punctuation('<')) {
      line = Line::backward;
      return second == punctuation('-') && is_together ? tv_status_none : fail("`<-' expected");
    }
    if (second == punctuation('>') && is_together)
      line = Line::forward;
    else
      lexer_.push_back();
    return tv_status_none;
  }

  // For what does not keep the statement from being read to its end.
  void complain(const std::string& message) {
    lexer_.report_error(message.c_str());
    if (!failure_) failure_ = tv_status_parse;
  }

  tv_status_t fail(const std::string& message) {
    if (lexer_.status()) return lexer_.status();
    lexer_.report_error(message.c_str());
    return tv_status_parse;
  }

  // Behind the semicolon that ends the present statement; false when there is none, or enough has been told.
  bool skip_statement() {
    lexer_.push_back();
    for (;;) {
      if (lexer_.error_count() >= kMostErrors || !lexer_.recover()) return false;
      const Token token = lexer_.next_operand();
      if (token == punctuation(';')) return true;
      if (token == Token::end) return false;
    }
  }

  Lexer& lexer_;
  Constraints& constraints_;
  tv_status_t failure_ = tv_status_none;  // the first one
};

std::string written_name(const std::string& name) {
  return _tv_check_name(name, true) ? quoted_text(name) : name;
}

std::string written_link(const Constraint& constraint) {
  const bool is_required =
      constraint.kind == ConstraintKind::require_link || constraint.kind == ConstraintKind::require_adjacency;
  const bool is_directed =
      constraint.kind == ConstraintKind::require_link || constraint.kind == ConstraintKind::forbid_link;
  return (is_required ? "require " : "forbid ") + written_name(constraint.from) +
         (is_directed ? " -> " : " - ") + written_name(constraint.to) + ";\n";
}

void write_tier(OutputSink& sink, size_t tier, const std::set<std::string>& names) {
  std::string line = "tier " + std::to_string(tier) + ":";
  for (const std::string& name : names) {
    const std::string written = written_name(name);
    if (line.size() + written.size() + 2 > kWidth) {
      sink.text(line + "\n");
      line = "   ";
    }
    line += " " + written + (name == *names.rbegin() ? ";" : ",");
  }
  sink.text(line + "\n");
}

}  // namespace

tv_status_t parse_constraints(Lexer& lexer, Constraints& constraints) {
  return ConstraintParser(lexer, constraints).parse();
}

void write_constraints(OutputSink& sink, const Constraints& constraints) {
  std::map<size_t, std::set<std::string>> tiers;
  for (const auto& [name, tier] : constraints.tiers) tiers[tier].insert(name);
  for (const auto& [tier, names] : tiers) write_tier(sink, tier, names);
  for (const size_t tier : constraints.closed_tiers)
    sink.text("no links in tier " + std::to_string(tier) + ";\n");
  for (const Constraint& constraint : constraints.links) sink.text(written_link(constraint));
}

}  // namespace tv

tv_status_t tv_structure_learner_parse_constraints(tv_structure_learner_t* learner, const char* file_name,
                                                   tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner && file_name)) return tv_status_usage;
    tv::Constraints constraints = learner->constraints;
    const tv_status_t status = tv::read_file(file_name, {handler, handler_data}, [&](tv::Lexer& lexer) {
      return tv::parse_constraints(lexer, constraints);
    });
    if (!status) learner->constraints = std::move(constraints);
    return status;
  });
}

tv_status_t tv_structure_learner_parse_constraints_string(tv_structure_learner_t* learner, const char* text,
                                                          tv_error_handler_t handler, void* handler_data) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(learner && text)) return tv_status_usage;
    const tv::CLocale locale;
    if (!locale.selected()) return tv::current_status();
    tv::Constraints constraints = learner->constraints;
    tv::Lexer lexer(std::string_view(text), {handler, handler_data});
    const tv_status_t status =
        tv::guarded([&]() -> tv_status_t { return tv::parse_constraints(lexer, constraints); });
    if (status && !tv::is_reported(lexer, status)) tv::report_failure(lexer, status);
    if (!status) learner->constraints = std::move(constraints);
    return status;
  });
}

char* tv_structure_learner_constraints_to_string(const tv_structure_learner_t* learner) {
  return tv::guarded(static_cast<char*>(nullptr), [&]() -> char* {
    if (!tv::check(learner != nullptr)) return nullptr;
    tv::OutputSink sink;
    tv::write_constraints(sink, learner->constraints);
    return sink.release();
  });
}
