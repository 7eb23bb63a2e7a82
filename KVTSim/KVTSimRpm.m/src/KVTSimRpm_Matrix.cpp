#include "KVTSimRpm_Matrix.h"

#include <utility>

#include "KVTSimUttAssert.h"

KVTSimRpm_Matrix::KVTSimRpm_Matrix(int n) noexcept : mDimension(n < 1 ? 0 : n) {}

KVTSimRpm_Matrix::~KVTSimRpm_Matrix() = default;

void KVTSimRpm_Matrix::SetItem(int row, int column, int value) {
  if (value == -1)
    mCells.Erase(KeyOf(row, column));
  else
    mCells.Set(KeyOf(row, column), value);
}

void KVTSimRpm_Matrix::Grow(int n) {
  KVTSIM_ASSERT(n >= mDimension);
  mDimension = n;
}

void KVTSimRpm_Matrix::FillFrom(KVTSimRpm_Matrix const& other) {
  std::uint64_t const m =
      static_cast<std::uint64_t>(mDimension < other.mDimension ? mDimension : other.mDimension);
  other.mCells.ForEach([this, m](std::uint64_t key, int value) {
    std::uint64_t const row = key >> 32;
    std::uint64_t const column = key & 0xFFFFFFFFu;
    if (row < m && column < m)
      mCells.Set(key, value);
  });
}

void KVTSimRpm_Matrix::Swap(KVTSimRpm_Matrix& other) noexcept {
  std::swap(mDimension, other.mDimension);
  mCells.Swap(other.mCells);
}
