#include "api/boundary.h"

#include <new>
#include <stdexcept>

namespace tv {

tv_status_t store_status_of_exception() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return store_status(tv_status_no_memory);
  } catch (const std::length_error&) {  // a container asked for more than it can ever hold
    return store_status(tv_status_no_memory);
  } catch (...) {
    return store_status(tv_status_error);
  }
}

}  // namespace tv
