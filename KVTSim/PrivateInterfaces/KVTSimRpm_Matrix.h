// KVTSimRpm_Matrix: the square table of ints behind the pool map's reference
// memo. Cell (row, column) is element mDimension * row + column.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_

#include "KVTSimExport.h"

class KVTSIM_EXPORT KVTSimRpm_Matrix {
 public:
  // The largest dimension whose cell count fits a 32-bit signed int.
  static constexpr int kMaxDimension = 46340;

  // An n x n matrix with every cell -1; no cells when n < 1.
  // Raises KVTBasMemoryExhausted when the cells cannot be allocated, and when
  // n exceeds kMaxDimension (the cell count would not fit an int).
  explicit KVTSimRpm_Matrix(int n);
  KVTSimRpm_Matrix(KVTSimRpm_Matrix const&) = delete;
  KVTSimRpm_Matrix& operator=(KVTSimRpm_Matrix const&) = delete;
  ~KVTSimRpm_Matrix();

  int Dimension() const noexcept { return mDimension; }

  // The cell. REQUIRES: 0 <= row, column < Dimension() (not checked).
  int Item(int row, int column) const { return mCells[mDimension * row + column]; }
  int& MutItem(int row, int column) { return mCells[mDimension * row + column]; }

  // Copies cell (row, column) of other for every row and column below the
  // lesser of the two dimensions; the other cells keep their values.
  void FillFrom(KVTSimRpm_Matrix const& other) noexcept;

  // Exchanges dimension and cells with other.
  void Swap(KVTSimRpm_Matrix& other) noexcept;

 private:
  int mDimension;
  int* mCells;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
