// Fused products for instruction sets without a faster way: one factor after the other.

void form(const FusedProduct& fused, float* table, const float* const* others) {
  for (size_t f = 0; f < fused.count; ++f) {
    if (f == 0 && fused.assigns)
      assign(fused.nests[f], fused.nest_counts[f], table, others[f]);
    else
      multiply(fused.nests[f], fused.nest_counts[f], table, others[f]);
  }
}
