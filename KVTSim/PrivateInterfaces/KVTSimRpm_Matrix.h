// KVTSimRpm_Matrix: the square table of ints behind the pool map's reference
// memo. It holds Dimension() rows and columns in room for Capacity() of each:
// cell (row, column) is element Capacity() * row + column. Every cell outside
// the dimension holds -1, so growing within the room needs no copy.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_

#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimRpm_Matrix {
 public:
  // The largest dimension whose cell count fits a 32-bit signed int.
  static constexpr int kMaxDimension = 46340;

  // An n x n matrix, without further room, with every cell -1; no cells when
  // n < 1. Raises KVTBasMemoryExhausted when the cells cannot be allocated,
  // and when n exceeds kMaxDimension (the cell count would not fit an int).
  explicit KVTSimRpm_Matrix(int n);
  KVTSimRpm_Matrix(KVTSimRpm_Matrix const&) = delete;
  KVTSimRpm_Matrix& operator=(KVTSimRpm_Matrix const&) = delete;
  ~KVTSimRpm_Matrix();

  int Dimension() const noexcept { return mDimension; }
  int Capacity() const noexcept { return mCapacity; }

  // The cell. REQUIRES: 0 <= row, column < Dimension() (not checked).
  int Item(int row, int column) const { return mCells[mCapacity * row + column]; }
  int& MutItem(int row, int column) { return mCells[mCapacity * row + column]; }

  // Makes room for at least n rows and columns. The room grows by a quarter
  // at least, so that growing one row at a time copies each cell a bounded
  // number of times on average. Dimension and cells stay as they are. Raises
  // KVTBasMemoryExhausted, leaving the matrix unchanged, when n exceeds
  // kMaxDimension or the cells cannot be allocated.
  void Reserve(int n);

  // The dimension becomes n; the new rows and columns hold -1.
  // REQUIRES: Dimension() <= n <= Capacity() (checked).
  void Grow(int n);

  // Copies cell (row, column) of other for every row and column below the
  // lesser of the two dimensions; the other cells keep their values.
  void FillFrom(KVTSimRpm_Matrix const& other) noexcept;

  // Exchanges dimension, room and cells with other.
  void Swap(KVTSimRpm_Matrix& other) noexcept;

 private:
  int mDimension;
  int mCapacity;
  int* mCells;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
