// Adding the nodes of a file to a domain. A failure takes the new nodes out again.

#include "api/boundary.h"
#include "net/file_access.h"
#include "net/parser.h"
#include "network/node_addition.h"

namespace tv {
namespace {

Node** parse_nodes(Domain& domain, const char* file_name, MessageHandler handler) {
  NodeAddition addition(domain);
  const auto read = [&](Lexer& lexer) { return NetParser(lexer, domain).parse_more_nodes(); };
  if (tv_status_t status = read_file(file_name, handler, read)) {
    store_status(status);
    return nullptr;
  }
  Node** const nodes = addition.new_nodes();
  if (nodes && nodes[0]) addition.keep();
  return nodes;
}

}  // namespace
}  // namespace tv

tv_node_t** tv_domain_parse_nodes(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                  void* handler_data) {
  return tv::guarded(static_cast<tv_node_t**>(nullptr), [&]() -> tv_node_t** {
    if (!tv::check(domain && file_name)) return nullptr;
    return tv::parse_nodes(*domain, file_name, {handler, handler_data});
  });
}
