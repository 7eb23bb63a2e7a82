#include "KVTSimRpm_Matrix.h"

#include <utility>

#include "KVTBasMem.h"
#include "KVTSimUttAssert.h"

namespace {

// The smallest table: a few references cost one small block.
constexpr std::size_t kMinCapacity = 16;

}  // namespace

KVTSimRpm_Matrix::KVTSimRpm_Matrix(int n) noexcept
    : mDimension(n < 1 ? 0 : n), mCount(0), mCapacity(0), mCells(nullptr) {}

KVTSimRpm_Matrix::~KVTSimRpm_Matrix() {
  mem_Free(mCells);
}

std::size_t KVTSimRpm_Matrix::Home(std::uint64_t key) const noexcept {
  // Multiplicative hashing: consecutive rows and columns spread over the table.
  std::uint64_t h = key * 0x9E3779B97F4A7C15ull;
  return static_cast<std::size_t>(h ^ (h >> 32)) & (mCapacity - 1);
}

std::size_t KVTSimRpm_Matrix::Find(std::uint64_t key) const noexcept {
  // The table is never full, so the walk ends at the key or at a free cell.
  std::size_t const mask = mCapacity - 1;
  std::size_t at = Home(key);
  while (mCells[at].key != kEmpty && mCells[at].key != key)
    at = (at + 1) & mask;
  return at;
}

int KVTSimRpm_Matrix::Item(int row, int column) const noexcept {
  if (mCount == 0)
    return -1;
  Cell const& cell = mCells[Find(KeyOf(row, column))];
  return cell.key == kEmpty ? -1 : cell.value;
}

void KVTSimRpm_Matrix::SetItem(int row, int column, int value) {
  std::uint64_t const key = KeyOf(row, column);
  if (value == -1) {
    if (mCount != 0) {
      std::size_t at = Find(key);
      if (mCells[at].key == key)
        Erase(at);
    }
    return;
  }
  // At most half full: probe walks stay short.
  if (2 * (mCount + 1) > mCapacity)
    Rehash(mCapacity == 0 ? kMinCapacity : 2 * mCapacity);
  std::size_t at = Find(key);
  if (mCells[at].key == kEmpty) {
    mCells[at].key = key;
    ++mCount;
  }
  mCells[at].value = value;
}

void KVTSimRpm_Matrix::Rehash(std::size_t capacity) {
  Cell* cells = static_cast<Cell*>(mem_Malloc(capacity * sizeof(Cell)));
  for (std::size_t i = 0; i < capacity; ++i)
    cells[i].key = kEmpty;
  Cell* old = mCells;
  std::size_t const oldCapacity = mCapacity;
  mCells = cells;
  mCapacity = capacity;
  for (std::size_t i = 0; i < oldCapacity; ++i) {
    if (old[i].key != kEmpty)
      mCells[Find(old[i].key)] = old[i];
  }
  mem_Free(old);
}

void KVTSimRpm_Matrix::Erase(std::size_t at) noexcept {
  // Backward-shift deletion: later cells of the same probe run move into the
  // hole when that keeps them reachable from their home, so no tombstones.
  std::size_t const mask = mCapacity - 1;
  std::size_t hole = at;
  for (std::size_t next = (hole + 1) & mask; mCells[next].key != kEmpty; next = (next + 1) & mask) {
    std::size_t const distance = (next - Home(mCells[next].key)) & mask;
    if (distance >= ((next - hole) & mask)) {
      mCells[hole] = mCells[next];
      hole = next;
    }
  }
  mCells[hole].key = kEmpty;
  --mCount;
}

void KVTSimRpm_Matrix::Grow(int n) {
  KVTSIM_ASSERT(n >= mDimension);
  mDimension = n;
}

void KVTSimRpm_Matrix::FillFrom(KVTSimRpm_Matrix const& other) {
  std::uint32_t const m =
      static_cast<std::uint32_t>(mDimension < other.mDimension ? mDimension : other.mDimension);
  for (std::size_t i = 0; i < other.mCapacity; ++i) {
    Cell const& cell = other.mCells[i];
    std::uint32_t const row = static_cast<std::uint32_t>(cell.key >> 32);
    std::uint32_t const column = static_cast<std::uint32_t>(cell.key);
    if (cell.key != kEmpty && row < m && column < m)
      SetItem(static_cast<int>(row), static_cast<int>(column), cell.value);
  }
}

void KVTSimRpm_Matrix::Swap(KVTSimRpm_Matrix& other) noexcept {
  std::swap(mDimension, other.mDimension);
  std::swap(mCount, other.mCount);
  std::swap(mCapacity, other.mCapacity);
  std::swap(mCells, other.mCells);
}
