#include "api/text_place.h"

namespace tv {

constinit thread_local TextPlace last_place [[gnu::tls_model("initial-exec")]];

}  // namespace tv

size_t tv_error_line(void) { return tv::last_place.line; }

size_t tv_error_column(void) { return tv::last_place.column; }
