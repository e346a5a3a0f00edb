// Passes over sparse tables: every form of a list of positions, over several blocks, for every instruction
// set.

#include "tables/kernels/sparse_pass.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/builders.h"

namespace test {
namespace {

using tv::PositionList;
using tv::StepKind;

// Positions of the entries of a table, and the numbers in which a list of the form holds them.
struct List {
  std::vector<uint32_t> positions;
  std::vector<uint16_t> shorts;
  std::vector<uint32_t> words;
  std::vector<uint64_t> keys;
  PositionList list;

  List(PositionList::Form form, size_t size, size_t other_size, Generator& random) {
    for (size_t i = 0; i < size; ++i) positions.push_back(static_cast<uint32_t>(random.below(other_size)));
    if (form == PositionList::Form::runs) std::sort(positions.begin(), positions.end());
    list.form = form;
    list.other_size = other_size;
    switch (form) {
      case PositionList::Form::runs:
        for (uint32_t p = 0; p <= other_size; ++p)
          words.push_back(static_cast<uint32_t>(std::lower_bound(positions.begin(), positions.end(), p) -
                                                positions.begin()));
        list.data = words.data();
        break;
      case PositionList::Form::shorts:
        shorts.assign(positions.begin(), positions.end());
        list.data = shorts.data();
        break;
      case PositionList::Form::words:
        words = positions;
        list.data = words.data();
        break;
      case PositionList::Form::field32:
        list.shift = 5;
        list.mask = 0x3ff;
        for (const uint32_t p : positions)
          words.push_back(p << 5 | static_cast<uint32_t>(random.below(32)) | 1u << 31);
        list.data = words.data();
        break;
      case PositionList::Form::field64:
        list.shift = 40;
        list.mask = 0x3ff;
        list.stride = 3;
        for (const uint32_t p : positions)
          for (uint64_t w = 0; w < 3; ++w)
            keys.push_back(w == 1 ? uint64_t{p} << 40 | random.below(1000) | uint64_t{1} << 63
                                  : random.next());
        list.data = keys.data() + 1;
        break;
    }
  }
};

constexpr PositionList::Form kForms[] = {PositionList::Form::runs, PositionList::Form::shorts,
                                         PositionList::Form::words, PositionList::Form::field32,
                                         PositionList::Form::field64};

struct SparseShape : tv::OwnShape {
  explicit SparseShape(size_t size) : OwnShape({size}) { set_sparse(); }
};

class SparsePass : public testing::TestWithParam<const tv::Kernels*> {
 protected:
  SparsePass() : usual_(tv::kernels()) { tv::use_kernels(*GetParam()); }
  ~SparsePass() override { tv::use_kernels(usual_); }

 private:
  const tv::Kernels& usual_;
};

TEST_P(SparsePass, MultipliesAndSumsAlongEveryForm) {
  Generator random(3);
  for (const size_t size : {size_t{1}, size_t{7}, size_t{4096}, size_t{10001}})
    for (const PositionList::Form form : kForms) {
      SCOPED_TRACE(testing::Message() << "size " << size << " form " << static_cast<int>(form));
      const size_t other_size = 1 + random.below(900);
      const List to(form, size, other_size, random), from(kForms[random.below(5)], size, 40, random);
      std::vector<float> table(size), other(40);
      for (float& number : table) number = static_cast<float>(random.uniform());
      for (float& number : other) number = static_cast<float>(random.uniform());
      const float factor = 0.75f;
      std::vector<double> sums(other_size, 0.0), largest(other_size, 0.0), expected(other_size, 0.0),
          best(other_size, 0.0);
      double total = 0.0;
      std::vector<float> products(size);
      for (size_t i = 0; i < size; ++i) {
        products[i] = table[i] * factor * other[from.positions[i]];
        expected[to.positions[i]] += static_cast<double>(products[i]);
        best[to.positions[i]] = std::max(best[to.positions[i]], static_cast<double>(products[i]));
      }
      const SparseShape shape(size);
      const tv::IndexMap identity = tv::identity_map(shape), scalar = tv::scalar_map(),
                         along = tv::list_map(to.list), against = tv::list_map(from.list);
      const tv::Step steps[] = {
          {StepKind::assign, &identity, table.data()},      {StepKind::multiply, &scalar, &factor},
          {StepKind::multiply, &against, other.data()},     {StepKind::sum, &along, nullptr, sums.data()},
          {StepKind::max, &along, nullptr, largest.data()}, {StepKind::sum, &scalar, nullptr, &total}};
      std::vector<float> stored(size, -1.0f);
      tv::run_pass(shape, stored.data(), steps, 6, {});
      EXPECT_EQ(stored, products);
      EXPECT_EQ(sums, expected);
      EXPECT_EQ(largest, best);
      double whole = 0.0;
      for (const double sum : expected) whole += sum;
      EXPECT_NEAR(total, whole, 1e-9 * whole);
      std::fill(sums.begin(), sums.end(), 0.0);
      tv::run_pass(shape, nullptr, steps, 4, {});
      EXPECT_EQ(sums, expected) << "without a table";
      std::vector<uint32_t> read(size);
      tv::read_positions(to.list, 0, size, read.data());
      EXPECT_EQ(read, to.positions);
    }
}

TEST_P(SparsePass, KeepsInDoublesWhatFloatsLose) {
  Generator random(4);
  const size_t size = 5000;
  const List to(PositionList::Form::runs, size, 300, random),
      from(PositionList::Form::shorts, size, 20, random);
  const std::vector<float> table(size, 1e-30f), other(20, 1e-30f);
  std::vector<double> sums(300, 0.0), expected(300, 0.0);
  for (size_t i = 0; i < size; ++i)
    expected[to.positions[i]] +=
        static_cast<double>(table[i]) * static_cast<double>(other[from.positions[i]]);
  const SparseShape shape(size);
  const tv::IndexMap identity = tv::identity_map(shape), along = tv::list_map(to.list),
                     against = tv::list_map(from.list);
  const tv::Step steps[] = {{StepKind::assign, &identity, table.data()},
                            {StepKind::multiply, &against, other.data()},
                            {StepKind::sum, &along, nullptr, sums.data()}};
  tv::run_sparse_double_pass(shape, steps, 3);
  EXPECT_EQ(sums, expected);
}

std::vector<const tv::Kernels*> all_kernels() {
  std::vector<const tv::Kernels*> list;
  for (const tv::Kernels* const* each = tv::available_kernels(); *each; ++each) list.push_back(*each);
  return list;
}

INSTANTIATE_TEST_SUITE_P(Kernels, SparsePass, testing::ValuesIn(all_kernels()),
                         [](const auto& tested) { return std::string(tested.param->name); });

}  // namespace
}  // namespace test
