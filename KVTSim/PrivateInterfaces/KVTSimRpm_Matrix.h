// KVTSimRpm_Matrix: the square table of ints behind the pool map's reference
// memo, stored sparsely.
//
// Every cell of a Dimension() x Dimension() matrix reads -1 until it is set.
// Only cells set to another value take memory: they live in a hash index
// keyed by (row, column) (KVTSimRpm_HashIndex, 16 to 64 bytes a cell), and
// rows and columns cost nothing. A document of N pools that each refer to a
// few others thus pays for the references made, not for N x N cells.
//
// REQUIRES: external synchronization.

#ifndef KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
#define KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_

#include <cstddef>
#include <cstdint>

#include "KVTSimExport.h"
#include "KVTSimRpm_HashIndex.h"

class KVTSIM_EXPORT KVTSimRpm_Matrix {
 public:
  // An n x n matrix (0 x 0 when n < 1) with every cell -1. Allocates nothing.
  explicit KVTSimRpm_Matrix(int n) noexcept;
  KVTSimRpm_Matrix(KVTSimRpm_Matrix const&) = delete;
  KVTSimRpm_Matrix& operator=(KVTSimRpm_Matrix const&) = delete;
  ~KVTSimRpm_Matrix();

  int Dimension() const noexcept { return mDimension; }

  // Number of cells holding a value other than -1.
  std::size_t SetCells() const noexcept { return mCells.Size(); }

  // Bytes held for the set cells.
  std::size_t AllocatedBytes() const noexcept { return mCells.AllocatedBytes(); }

  // The cell's value, -1 when never set.
  // REQUIRES: 0 <= row, column < Dimension() (not checked).
  int Item(int row, int column) const noexcept { return mCells.Find(KeyOf(row, column), -1); }

  // Sets the cell; -1 forgets it. Raises KVTBasMemoryExhausted when the
  // table cannot grow, leaving the matrix unchanged.
  // REQUIRES: 0 <= row, column < Dimension() (not checked).
  void SetItem(int row, int column, int value);

  // The dimension becomes n; the new rows and columns read -1. Allocates
  // nothing. REQUIRES: n >= Dimension() (checked: "n >= mDimension").
  void Grow(int n);

  // Copies every set cell of other whose row and column lie below the lesser
  // of the two dimensions; the other cells keep their values. Raises
  // KVTBasMemoryExhausted when the table cannot grow (the cells copied so far
  // stay).
  void FillFrom(KVTSimRpm_Matrix const& other);

  // Exchanges dimension and cells with other.
  void Swap(KVTSimRpm_Matrix& other) noexcept;

 private:
  static std::uint64_t KeyOf(int row, int column) noexcept {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(row)) << 32 |
           static_cast<std::uint32_t>(column);
  }

  int mDimension;
  KVTSimRpm_HashIndex mCells;
};

#endif  // KVTSIM_PRIVATEINTERFACES_KVTSIMRPM_MATRIX_H_
