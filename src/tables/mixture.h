// A continuous node of a table as a mixture of normal distributions, one per configuration.
#pragma once

#include "tables/table.h"

namespace tv {

class Mixture {
 public:
  // `node` counts the continuous nodes of the table, which has data and no tails.
  Mixture(const Table& table, size_t node) noexcept;

  double total() const noexcept { return total_; }  // of the weights; positive when there is a mixture

  // Infinite at a component of variance zero.
  double density(double value) const noexcept;
  double probability_of_interval(double low, double high) const noexcept;

  // The least value up to which there is this probability, between 0 and 1.
  double quantile(double probability) const noexcept;

 private:
  struct Component {
    double weight, mean, deviation;
  };
  template <class Measure>
  double sum(Measure measure) const noexcept;
  Component component(size_t i) const noexcept;
  double atom_between(double low, double high) const noexcept;

  const Table& table_;
  size_t mean_, variance_;
  double total_ = 0.0;
};

}  // namespace tv
