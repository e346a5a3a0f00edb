// Fused products in 512-bit vectors. The gather window of a factor stays in two registers, from which each
// vector of the run picks its own entries; factors that are contiguous along the run are loaded vector by
// vector. The last vector of a run reaches into the next one and leaves it unchanged; the first vector there
// is loaded before, so that no load waits for a store.

template <bool assigns, size_t along, size_t looked_up>
struct RunProduct {
  const FusedProduct& fused;
  const float* others[kMaxFused];
  __m512 front[looked_up + 1], back[looked_up + 1];
  __mmask16 front_lanes[looked_up + 1], back_lanes[looked_up + 1];

  RunProduct(const FusedProduct& given, const float* const* tables) : fused(given) {
    for (size_t f = 0; f < along + looked_up; ++f) others[f] = tables[f];
    for (size_t k = 0; k < looked_up; ++k) {
      const size_t window = fused.window[along + k];
      front_lanes[k] = first_lanes(window < kLanes ? window : kLanes);
      back_lanes[k] = first_lanes(window < kLanes ? 0 : window - kLanes);
    }
  }

  void start_run() {
    for (size_t k = 0; k < looked_up; ++k) {
      front[k] = _mm512_maskz_loadu_ps(front_lanes[k], others[along + k]);
      back[k] = _mm512_maskz_loadu_ps(back_lanes[k], others[along + k] + kLanes);
    }
  }

  __m512 found(size_t k, size_t at) const {
    return _mm512_permutex2var_ps(front[k], _mm512_load_si512(fused.index[along + k] + at), back[k]);
  }

  // The product at sixteen entries.
  __m512 entries(__m512 x, size_t at) const {
    size_t f = 0;
    if (assigns) {
      x = along > 0 ? _mm512_loadu_ps(others[0] + at) : found(0, at);
      f = 1;
    }
    for (; f < along; ++f) x = _mm512_mul_ps(x, _mm512_loadu_ps(others[f] + at));
    for (; f < along + looked_up; ++f) x = _mm512_mul_ps(x, found(f - along, at));
    return x;
  }

  // The product at the entries of the mask; the others stay as they are.
  __m512 entries(__m512 x, size_t at, __mmask16 mask) const {
    size_t f = 0;
    if (assigns) {
      x = along > 0 ? _mm512_mask_loadu_ps(x, mask, others[0] + at)
                    : _mm512_mask_mov_ps(x, mask, found(0, at));
      f = 1;
    }
    for (; f < along; ++f) x = _mm512_mask_mul_ps(x, mask, x, _mm512_maskz_loadu_ps(mask, others[f] + at));
    for (; f < along + looked_up; ++f) x = _mm512_mask_mul_ps(x, mask, x, found(f - along, at));
    return x;
  }

  void move(size_t level, size_t times) {
    for (size_t f = 0; f < along + looked_up; ++f) others[f] += times * fused.steps[f][level];
  }

  void run(float* x) {
    const size_t length = fused.length, whole = length / kLanes * kLanes;
    const __mmask16 mask = first_lanes(length - whole);
    size_t position[kFusedLevels];
    for (size_t d = 0; d < fused.levels; ++d) position[d] = 0;
    __m512 first = assigns ? _mm512_setzero_ps() : _mm512_loadu_ps(x);
    for (size_t left = fused.runs; left > 0; --left, x += length) {
      start_run();
      _mm512_storeu_ps(x, entries(first, 0));
      for (size_t at = kLanes; at < whole; at += kLanes)
        _mm512_storeu_ps(x + at, entries(assigns ? first : _mm512_loadu_ps(x + at), at));
      if (left == 1) break;
      if (!assigns) first = _mm512_loadu_ps(x + length);
      if (mask)
        _mm512_storeu_ps(x + whole, entries(assigns ? first : _mm512_loadu_ps(x + whole), whole, mask));
      for (size_t d = fused.levels; d-- > 0;) {
        move(d, 1);
        if (++position[d] < fused.outer[d]) break;
        move(d, static_cast<size_t>(0) - fused.outer[d]);
        position[d] = 0;
      }
    }
    if (mask) store_part(x + whole, whole, mask, length - whole);
  }

  // Behind the last run other threads may be writing.
  void store_part(float* x, size_t at, __mmask16 mask, size_t n) {
    float part[kLanes];
    for (size_t j = 0; j < n; ++j) part[j] = assigns ? 0.0f : x[j];
    _mm512_storeu_ps(part, entries(_mm512_maskz_loadu_ps(mask, part), at, mask));
    for (size_t j = 0; j < n; ++j) x[j] = part[j];
  }
};

template <bool assigns, size_t along>
void form_runs(const FusedProduct& fused, float* table, const float* const* others) {
  switch (fused.count - along) {
    case 0:
      if constexpr (along > 0) RunProduct<assigns, along, 0>(fused, others).run(table);
      return;
    case 1:
      if constexpr (along < 3) RunProduct<assigns, along, 1>(fused, others).run(table);
      return;
    case 2:
      if constexpr (along < 2) RunProduct<assigns, along, 2>(fused, others).run(table);
      return;
    case 3:
      if constexpr (along == 0) RunProduct<assigns, 0, 3>(fused, others).run(table);
  }
}

template <bool assigns>
void form_runs(const FusedProduct& fused, float* table, const float* const* others) {
  switch (fused.along) {
    case 0:
      return form_runs<assigns, 0>(fused, table, others);
    case 1:
      return form_runs<assigns, 1>(fused, table, others);
    case 2:
      return form_runs<assigns, 2>(fused, table, others);
    case 3:
      return form_runs<assigns, 3>(fused, table, others);
  }
}

void form(const FusedProduct& fused, float* table, const float* const* others) {
  if (fused.length >= kLanes)
    return fused.assigns ? form_runs<true>(fused, table, others) : form_runs<false>(fused, table, others);
  for (size_t f = 0; f < fused.count; ++f) {
    if (f == 0 && fused.assigns)
      assign(fused.nests[f], fused.nest_counts[f], table, others[f]);
    else
      multiply(fused.nests[f], fused.nest_counts[f], table, others[f]);
  }
}
