// Reading and writing whole files under the "C" locale.
#pragma once

#include "api/boundary.h"
#include "api/streams.h"
#include "text/lexer.h"
#include "text/output.h"

namespace tv {

// Tells the handler of a failure that the grammar has no words for.
void report_failure(Lexer& lexer, tv_status_t status) noexcept;

// Grammars report what breaks them, the lexer what it runs into, but for a failure to read.
inline bool is_reported(const Lexer& lexer, tv_status_t status) noexcept {
  return status == tv_status_parse || status == tv_status_syntax || status == tv_status_invalid_expression ||
         (lexer.status() && lexer.status() != tv_status_io);
}

// Opens the file, runs `write(sink)` and closes it.
template <class Write>
tv_status_t write_file(const char* name, Write write) {
  OpenFile file = open_file(name, "w");
  if (!file) return current_status();
  const CLocale locale;
  if (!locale.selected()) return current_status();
  OutputSink sink(file.get());
  if (tv_status_t status = write(sink)) return status;
  return close_file(std::move(file));
}

// Opens the file, runs `read(lexer)` and closes it. A failure that nobody has reported is told to the
// handler.
template <class Read>
tv_status_t read_file(const char* name, MessageHandler handler, Read read) {
  OpenFile file = open_file(name, "r");
  if (!file) return current_status();
  const CLocale locale;
  if (!locale.selected()) return current_status();
  Lexer lexer(file.get(), handler);
  const tv_status_t status = guarded([&]() -> tv_status_t { return read(lexer); });
  if (status && !is_reported(lexer, status)) report_failure(lexer, status);
  if (status) return status;
  return close_file(std::move(file));
}

}  // namespace tv
