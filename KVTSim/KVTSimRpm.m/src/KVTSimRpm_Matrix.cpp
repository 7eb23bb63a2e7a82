#include "KVTSimRpm_Matrix.h"

#include <cstddef>
#include <cstring>

#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimUttAssert.h"

KVTSimRpm_Matrix::KVTSimRpm_Matrix(int n)
    : mDimension(n), mCapacity(n < 1 ? 0 : n), mCells(nullptr) {
  if (n < 1)
    return;
  std::size_t bytes = static_cast<std::size_t>(n) * static_cast<std::size_t>(n) * sizeof(int);
  if (n > kMaxDimension) {
    // Cell indices are ints: a larger table could not be addressed.
    KVTBasMemoryExhausted error(bytes);
    error.Throw(__FILE__, __LINE__);
  }
  mCells = reinterpret_cast<int*>(mem_OperatorNewThrowBuiltin(bytes));
  // Every byte 0xFF makes every cell -1: "not known yet".
  std::memset(mCells, 0xFF, bytes);
}

KVTSimRpm_Matrix::~KVTSimRpm_Matrix() {
  mem_Free(mCells);
}

void KVTSimRpm_Matrix::Reserve(int n) {
  if (n <= mCapacity)
    return;
  // Growing by one row at a time would copy the whole table for every row:
  // cubic in the rows, which a file naming many pools could exploit.
  int room = mCapacity + mCapacity / 4 + 8;
  if (room < n)
    room = n;
  if (room > kMaxDimension && n <= kMaxDimension)
    room = kMaxDimension;
  KVTSimRpm_Matrix grown(room);
  grown.mDimension = mDimension;
  grown.FillFrom(*this);
  Swap(grown);
}

void KVTSimRpm_Matrix::Grow(int n) {
  KVTSIM_ASSERT(n >= mDimension);
  KVTSIM_ASSERT(n <= mCapacity);
  mDimension = n;
}

void KVTSimRpm_Matrix::FillFrom(KVTSimRpm_Matrix const& other) noexcept {
  int m = mDimension < other.mDimension ? mDimension : other.mDimension;
  for (int row = 0; row < m; ++row) {
    std::memcpy(&MutItem(row, 0), &other.mCells[other.mCapacity * row],
                static_cast<std::size_t>(m) * sizeof(int));
  }
}

void KVTSimRpm_Matrix::Swap(KVTSimRpm_Matrix& other) noexcept {
  int dimension = mDimension;
  int capacity = mCapacity;
  int* cells = mCells;
  mDimension = other.mDimension;
  mCapacity = other.mCapacity;
  mCells = other.mCells;
  other.mDimension = dimension;
  other.mCapacity = capacity;
  other.mCells = cells;
}
