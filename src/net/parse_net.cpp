// The entry points: where the text comes from, the locale it is read under, and what remains of a parse
// that failed (nothing).

#include <algorithm>
#include <array>
#include <cstring>

#include "api/boundary.h"
#include "inference/domain_hooks.h"
#include "net/file_access.h"
#include "net/net.h"
#include "net/parser.h"

namespace tv {
namespace {

constexpr std::array<std::string_view, 9> kKeywords = {
    "net", "node", "continuous", "discrete", "decision", "utility", "function", "potential", "class"};

bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

// So many errors are told by those who go on behind the first.
constexpr size_t kMostErrors = 10;

// Null with the status stored when the text is not a domain.
std::unique_ptr<Domain> parse_domain(Lexer& lexer, size_t most_errors = 1) {
  std::unique_ptr<Domain> domain;
  const tv_status_t status = guarded([&]() -> tv_status_t {
    const CLocale locale;
    if (!locale.selected()) return current_status();
    domain = std::make_unique<Domain>(kDomainHooks);
    NetParser parser(lexer, *domain, most_errors);
    return uses_older_language(lexer.lookahead()) ? parser.parse_older() : parser.parse();
  });
  if (status) {
    domain.reset();
    if (lexer.error_count() == 0) report_failure(lexer, status);
  }
  store_status(status);
  return domain;
}

// The older entry points know handlers without data of their own.
void call_old_handler(size_t position, const char* message, void* data) {
  (*static_cast<tv_old_error_handler_t*>(data))(position, message);
}

MessageHandler adapt(tv_old_error_handler_t& handler) noexcept {
  return handler ? MessageHandler{call_old_handler, &handler} : MessageHandler{};
}

Domain* parse_file(const char* name, MessageHandler handler, size_t most_errors) {
  OpenFile file = open_file(name, "r");
  if (!file) return nullptr;
  std::string file_name = name;
  Lexer lexer(file.get(), handler);
  std::unique_ptr<Domain> domain = parse_domain(lexer, most_errors);
  if (!domain) return nullptr;
  domain->file_name = std::move(file_name);
  if (store_status(close_file(std::move(file)))) return nullptr;
  return domain.release();
}

}  // namespace

void report_failure(Lexer& lexer, tv_status_t status) noexcept {
  char message[512];
  std::snprintf(message, sizeof message, "API error: %s",
                tv_error_description(static_cast<unsigned>(status)));
  lexer.report_error(message);
}

bool is_keyword(std::string_view word) noexcept {
  return std::find(kKeywords.begin(), kKeywords.end(), word) != kKeywords.end();
}

int _tv_string_is_net_description(const char* source) noexcept {
  const char* p = without_byte_order_mark(source).data();
  while (is_space(*p) || *p == '%') {
    if (*p == '%')
      p += std::strcspn(p, "\n\r");
    else
      ++p;
  }
  const char* end = p;
  while (*end >= 'a' && *end <= 'z') ++end;
  return is_keyword({p, static_cast<size_t>(end - p)}) && (is_space(*end) || *end == '{');
}

}  // namespace tv

tv_domain_t* tv_net_parse_domain(const char* source, tv_error_handler_t handler, void* handler_data) {
  using namespace tv;
  return guarded(static_cast<Domain*>(nullptr), [&]() -> Domain* {
    if (!check(source != nullptr)) return nullptr;
    const int is_text = _tv_string_is_net_description(source);
    if (is_text < 0) return nullptr;
    if (is_text == 0) return parse_file(source, {handler, handler_data}, 1);
    Lexer lexer(std::string_view(source), {handler, handler_data});
    return parse_domain(lexer).release();
  });
}

tv_domain_t* tv_net_parse_file(const char* file_name, tv_error_handler_t handler, void* handler_data) {
  using namespace tv;
  return guarded(static_cast<Domain*>(nullptr), [&]() -> Domain* {
    if (!check(file_name != nullptr)) return nullptr;
    return parse_file(file_name, {handler, handler_data}, kMostErrors);
  });
}

tv_domain_t* tv_net_parse_buffer(const char* text, size_t length, tv_error_handler_t handler,
                                 void* handler_data) {
  using namespace tv;
  return guarded(static_cast<Domain*>(nullptr), [&]() -> Domain* {
    if (!check(text != nullptr)) return nullptr;
    Lexer lexer(std::string_view(text, length), {handler, handler_data});
    return parse_domain(lexer, kMostErrors).release();
  });
}

tv_domain_t* tv_net_parse(FILE* stream, tv_old_error_handler_t handler) {
  using namespace tv;
  return guarded(static_cast<Domain*>(nullptr), [&]() -> Domain* {
    if (!check(stream != nullptr)) return nullptr;
    Lexer lexer(stream, adapt(handler));
    return parse_domain(lexer).release();
  });
}

tv_domain_t* tv_net_parse_from_string(const char* text, tv_old_error_handler_t handler) {
  using namespace tv;
  return guarded(static_cast<Domain*>(nullptr), [&]() -> Domain* {
    if (!check(text != nullptr)) return nullptr;
    Lexer lexer(std::string_view(text), adapt(handler));
    return parse_domain(lexer).release();
  });
}
