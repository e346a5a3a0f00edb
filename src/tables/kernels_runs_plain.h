// Several factors at once, for instruction sets that have no way of their own: one after the other.

void form(const Forming& forming, float* table, const float* const* others) {
  for (size_t f = 0; f < forming.count; ++f) {
    if (f == 0 && forming.assigns)
      assign(forming.nests[f], forming.nest_counts[f], table, others[f]);
    else
      multiply(forming.nests[f], forming.nest_counts[f], table, others[f]);
  }
}
