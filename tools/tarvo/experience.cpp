#include "experience.h"

#include <algorithm>

namespace program {

void set_experience(tv_node_t* node, double count, const std::string& subject) {
  tv_table_t* const table = tv_node_get_experience_table(node);
  tv_number_t* const counts = table ? tv_table_get_data(table) : nullptr;
  if (!counts) fail_with_status(subject);
  std::fill_n(counts, tv_table_get_size(table), static_cast<tv_number_t>(count));
}

}  // namespace program
