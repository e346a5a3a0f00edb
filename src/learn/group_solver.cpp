#include "learn/group_solver.h"

#include <algorithm>
#include <cmath>

namespace tv {
namespace {

constexpr double kFaint = 1e-30;
constexpr uint32_t kFamiliesOfALook = 4;  // so many numbers of tables leave a product above zero

}  // namespace

bool GroupSolver::solve(size_t problem) {
  const uint32_t number = problems_.group(problem);
  const MissingGroup& group = finder_.group(number);
  if (group.maps.empty() && number != last_made_) {
    made_ = group.schedule.maps(finder_.graph());
    last_made_ = number;
  }
  maps_ = group.maps.empty() ? &made_ : &group.maps;
  bases_ = problems_.bases(problem);
  schedule_ = &group.schedule;
  log_likelihood_ = 0.0;
  if (!go_forward()) return false;
  go_backward();
  return true;
}

// Scaled before they become too small; the last sum is scaled to 1.
bool GroupSolver::go_forward() {
  const std::vector<Stage>& stages = schedule_->stages();
  sums_.resize(std::max(sums_.size(), stages.size() + 1));
  products_.resize(std::max(products_.size(), stages.size()));
  scales_.assign(stages.size(), 1.0);
  sums_[0].assign(1, 1.0);
  for (size_t k = 0; k < stages.size(); ++k) {
    const Stage& stage = stages[k];
    multiply(stage, (*maps_)[k], products_[k]);
    const size_t states = stage.joint / stage.before;
    const uint32_t* const after = (*maps_)[k].after.data();
    const double *const before = sums_[k].data(), *const product = products_[k].data();
    sums_[k + 1].assign(stage.after, 0.0);
    double* const sum = sums_[k + 1].data();
    for (size_t j = 0; j < stage.before; ++j)
      for (size_t i = j * states; i < (j + 1) * states; ++i) sum[after[i]] += before[j] * product[i];
    double total = 0.0;
    for (size_t j = 0; j < stage.after; ++j) total += sum[j];
    if (!(total > 0.0)) return false;
    if (total > kFaint && k + 1 < stages.size()) continue;
    scales_[k] = total;
    log_likelihood_ += std::log(total);
    for (size_t j = 0; j < stage.after; ++j) sum[j] /= total;
  }
  return true;
}

const tv_number_t* GroupSolver::table(uint32_t i) const noexcept {
  return finder_.graph().families[schedule_->families()[i]].table->data.data() + bases_[i];
}

// The product of the families that are complete with the stage. A factor that all of it has in common is
// taken out before it becomes too small, and counts for nothing but the likelihood.
void GroupSolver::multiply(const Stage& stage, const GroupSchedule::StageMaps& maps,
                           std::vector<double>& product) {
  product.assign(stage.joint, 1.0);
  for (uint32_t i = stage.first_family; i < stage.last_family; ++i) {
    const tv_number_t* const numbers = table(i);
    const uint32_t* const places = maps.places[i - stage.first_family].data();
    for (size_t j = 0; j < stage.joint; ++j) product[j] *= static_cast<double>(numbers[places[j]]);
    if ((i - stage.first_family) % kFamiliesOfALook != kFamiliesOfALook - 1) continue;
    const double largest = *std::max_element(product.begin(), product.end());
    if (largest > kFaint || !(largest > 0.0)) continue;
    for (double& number : product) number /= largest;
    log_likelihood_ += std::log(largest);
  }
}

// What the later stages make of each joint state comes back.
void GroupSolver::go_backward() {
  const std::vector<Stage>& stages = schedule_->stages();
  later_.assign(1, 1.0);
  for (size_t k = stages.size(); k-- > 0;) {
    const Stage& stage = stages[k];
    const size_t states = stage.joint / stage.before;
    const uint32_t* const after = (*maps_)[k].after.data();
    const double *const before = sums_[k].data(), scale = 1.0 / scales_[k];
    double* const product = products_[k].data();  // becomes the joint marginal
    earlier_.assign(stage.before, 0.0);
    for (size_t j = 0; j < stage.before; ++j)
      for (size_t i = j * states; i < (j + 1) * states; ++i) {
        const double rest = product[i] * (later_[after[i]] * scale);
        earlier_[j] += rest;
        product[i] = before[j] * rest;
      }
    later_.swap(earlier_);
  }
}

}  // namespace tv
