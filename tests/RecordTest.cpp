// Records: their columns are sized, filled and released with them, whatever class declares them.

#include <gtest/gtest.h>

#include <algorithm>

#include "prod/ProdL2.h"

namespace {

class CProdTest : public CProdL2 {
 public:
  IntColumn Ints{*this};
  TFamily<RealColumn, 3> Reals{*this};
  KeptIntColumn KeptInts{*this};
  TFamily<KeptRealColumn, 2> KeptReals{*this};
};

// A column belongs to a record, and pixels and kept rows are not taken for each other.
static_assert(!std::is_default_constructible_v<IntColumn> && !std::is_copy_constructible_v<KeptRealColumn>);
template <class TColumnType, class TIndex>
constexpr bool INDEXED = requires(TColumnType& column, TIndex index) {
  column[index];
};
static_assert(INDEXED<IntColumn, int> && INDEXED<KeptIntColumn, SKeptRow>);
static_assert(!INDEXED<IntColumn, SKeptRow> && !INDEXED<KeptIntColumn, int>);

TEST(RecordTest, MemoryFollowsPixelsAndWhatIsKeptAndWritten) {
  CProdTest prod;
  prod.InitFirstL2(100);
  EXPECT_TRUE(prod.Ints.Capacity() == 100 && prod.Reals[2].Capacity() == 100);
  std::fill_n(prod.KeepPixel.Write(), 100, uint8_t{0});
  for (const int i : {7, 50, 99}) prod.KeepPixel.Write()[i] = 1;
  prod.InitKept();
  EXPECT_EQ(prod.KeptRow(50).nRow, 1);
  prod.KeptReals[1].Write()[prod.KeptRow(99).nRow] = 4.5;
  prod.Ints.Write()[50] = 6;
  EXPECT_EQ(prod.At(prod.KeptReals[1], 99), 4.5);
  EXPECT_EQ(prod.At(prod.Ints, 50), 6);
  EXPECT_TRUE(prod.KeptReals[1].Capacity() == 3 && prod.KeptReals[0].IsNull() && prod.KeptInts.IsNull());
  prod.KeptInts.SetAll(7);
  EXPECT_TRUE(prod.KeptInts.IsUniform() && prod.KeptInts.Capacity() == 0);
  EXPECT_EQ(prod.KeptInts[SKeptRow(2)], 7);
  prod.KeptInts.Write()[1] = 8;  // the others stay
  EXPECT_TRUE(prod.KeptInts[SKeptRow(1)] == 8 && prod.KeptInts[SKeptRow(2)] == 7);
  EXPECT_FALSE(prod.KeptInts.IsUniform());

  // Fewer pixels in the same memory, which all count as kept as long as nobody says which are.
  const double* pValues = &prod.Reals[0][0];
  prod.InitFirstL2(60);
  EXPECT_EQ(&prod.Reals[0][0], pValues);
  EXPECT_TRUE(prod.KeptRow(59).nRow == 59 && prod.Kept().size() == 60);
  EXPECT_TRUE(prod.At(prod.KeptReals[1], 0) == -777 && prod.At(prod.KeptReals[0], 59) == -777);
  std::fill_n(prod.KeepPixel.Write(), 60, uint8_t{1});
  prod.InitKept();
  prod.KeptInts.SetMissing();  // also in the elements that it did not have before
  prod.KeptInts.Write()[0] = 3;
  EXPECT_EQ(prod.KeptInts[SKeptRow(59)], -1);
  prod.KeptInts.SetAll(9);
  prod.InitFirstL2(70);
  EXPECT_TRUE(prod.Kept().size() == 70 && prod.At(prod.KeptInts, 69) == 9);

  prod.FillWithMissingValues();
  EXPECT_TRUE(prod.Latitude[0] == -777 && prod.OrbitNumber[0] == -1 && prod.KeepPixel[0] == 0);
  prod.InitFirstL2(101);
  EXPECT_TRUE(prod.Ints.Capacity() == 101 && prod.KeptReals[1].IsNull() && prod.Kept().size() == 101);
  prod.SetNull();
  EXPECT_TRUE(prod.Ints.IsNull() && prod.Reals[2].IsNull() && prod.Latitude.IsNull() &&
              prod.PixelCapacity == 0 && prod.Kept().empty());
}

}  // namespace
