#include "predict/predictor.h"

#include <algorithm>

#include "learn/thread_tasks.h"
#include "tables/limits.h"

namespace tv {
namespace {

constexpr size_t kRowsTogether = 256;  // are read and answered while they are in the nearest cache

}  // namespace

struct Predictor::Worker {
  explicit Worker(const PredictionModel& model) : block(model), query(model, answers) {
    for (const PredictionTarget& target : model.targets) answers.emplace_back(target.size);
    if (model.can_be_grouped) groups = std::make_unique<GroupPredictor>(model, answers);
  }

  // What is kept is given up between two calls, when nobody refers to it.
  void make_room() {
    size_t bytes = query.bytes() + (groups ? groups->bytes() : 0);
    for (const AnswerList& list : answers) bytes += list.size() * list.length() * sizeof(double);
    if (bytes <= limits.kept_predictions) return;
    if (groups) groups->clear();
    query.clear();
    for (AnswerList& list : answers) list.clear();
    ++generation;
  }

  RowBlock block;
  std::vector<AnswerList> answers;  // by target
  std::unique_ptr<GroupPredictor> groups;
  QueryPredictor query;
  size_t generation = 0;
  tv_status_t status = tv_status_none;
};

Predictor::Predictor(const PredictionModel& model, size_t threads)
    : model_(model), targets_(model.targets.size()) {
  for (size_t i = 0, most = std::max<size_t>(usable_threads(threads), 1); i < most; ++i)
    workers_.push_back(std::make_unique<Worker>(model));
}

Predictor::~Predictor() = default;

const AnswerList& Predictor::answers(size_t thread, size_t target) const noexcept {
  return workers_[thread]->answers[target];
}

size_t Predictor::generation(size_t thread) const noexcept { return workers_[thread]->generation; }

UnitRange Predictor::share_of(size_t thread) const noexcept {
  return units_of_thread(count_, workers_.size(), thread);
}

size_t Predictor::thread_of(size_t row) const noexcept {
  size_t thread = 0;
  while (row >= share_of(thread).end) ++thread;
  return thread;
}

bool Predictor::any_open() const noexcept {
  return std::find(numbers_.begin(), numbers_.end(), AnswerList::kOpen) != numbers_.end();
}

tv_status_t Predictor::run(const RowSource& source, size_t first, size_t count) {
  first_ = first;
  count_ = count;
  numbers_.assign(count * targets_, AnswerList::kOpen);
  truths_.resize(count * targets_);
  for (const auto& worker : workers_) worker->make_room();
  by_groups_ = model_.can_be_grouped;
  if (by_groups_) {
    if (tv_status_t status = run_workers(source)) return status;
    if (!any_open()) return tv_status_none;
    by_groups_ = false;
  }
  for (const auto& worker : workers_)
    if (tv_status_t status = worker->query.start()) return status;
  return run_workers(source);
}

tv_status_t Predictor::run_workers(const RowSource& source) {
  return run_tasks(workers_.size(), workers_.size(), [&](size_t t) {
    workers_[t]->status = tv_status_none;
    work_on(*workers_[t], source, t);
    return workers_[t]->status;
  });
}

void Predictor::work_on(Worker& worker, const RowSource& source, size_t thread) {
  const UnitRange share = share_of(thread);
  for (size_t row = share.begin; row < share.end && !worker.status; row += kRowsTogether) {
    const size_t count = std::min(kRowsTogether, share.end - row);
    if (by_groups_)
      answer_by_groups(worker, source, row, count);
    else
      answer_by_query(worker, source, row, count);
  }
}

void Predictor::answer_by_groups(Worker& worker, const RowSource& source, size_t first, size_t count) {
  worker.block.reset(count);
  source.read(first_ + first, count, worker.block);
  for (size_t i = 0; i < count; ++i) {
    worker.groups->answer(worker.block, i, numbers_.data() + (first + i) * targets_);
    for (size_t t = 0; t < targets_; ++t) truths_[(first + i) * targets_ + t] = worker.block.truth(i, t);
  }
}

// Rows that are open.
void Predictor::answer_by_query(Worker& worker, const RowSource& source, size_t first, size_t count) {
  const auto begin = numbers_.begin() + static_cast<ptrdiff_t>(first * targets_);
  const auto end = begin + static_cast<ptrdiff_t>(count * targets_);
  if (std::find(begin, end, AnswerList::kOpen) == end) return;
  worker.block.reset(count);
  source.read(first_ + first, count, worker.block);
  for (size_t i = 0; i < count && !worker.status; ++i) {
    uint32_t* const numbers = numbers_.data() + (first + i) * targets_;
    for (size_t t = 0; t < targets_; ++t) truths_[(first + i) * targets_ + t] = worker.block.truth(i, t);
    if (numbers[0] == AnswerList::kOpen) worker.status = worker.query.answer(worker.block, i, numbers);
  }
}

}  // namespace tv
