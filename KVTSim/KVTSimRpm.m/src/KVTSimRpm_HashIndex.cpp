#include "KVTSimRpm_HashIndex.h"

#include <utility>

#include "KVTBasMem.h"
#include "KVTSimUttAssert.h"

namespace {

// The smallest table: a few entries cost one small block.
constexpr std::size_t kMinCapacity = 16;

}  // namespace

KVTSimRpm_HashIndex::KVTSimRpm_HashIndex() noexcept : mCount(0), mCapacity(0), mCells(nullptr) {}

KVTSimRpm_HashIndex::~KVTSimRpm_HashIndex() {
  mem_Free(mCells);
}

std::size_t KVTSimRpm_HashIndex::Home(std::uint64_t key) const noexcept {
  // Multiplicative hashing spreads consecutive keys over the whole table.
  std::uint64_t h = key * 0x9E3779B97F4A7C15ull;
  return static_cast<std::size_t>(h ^ (h >> 32)) & (mCapacity - 1);
}

std::size_t KVTSimRpm_HashIndex::Slot(std::uint64_t key) const noexcept {
  // Never full, so the walk ends at the key or at a free cell.
  std::size_t const mask = mCapacity - 1;
  std::size_t at = Home(key);
  while (mCells[at].key != kNoKey && mCells[at].key != key)
    at = (at + 1) & mask;
  return at;
}

int KVTSimRpm_HashIndex::Find(std::uint64_t key, int absent) const noexcept {
  if (mCount == 0)
    return absent;
  Cell const& cell = mCells[Slot(key)];
  return cell.key == key ? cell.value : absent;
}

void KVTSimRpm_HashIndex::Set(std::uint64_t key, int value) {
  KVTSIM_ASSERT(key != kNoKey);
  // At most half full: probe walks stay short.
  if (2 * (mCount + 1) > mCapacity)
    Rehash(mCapacity == 0 ? kMinCapacity : 2 * mCapacity);
  Cell& cell = mCells[Slot(key)];
  if (cell.key != key) {
    cell.key = key;
    ++mCount;
  }
  cell.value = value;
}

bool KVTSimRpm_HashIndex::Erase(std::uint64_t key) noexcept {
  if (mCount == 0)
    return false;
  std::size_t hole = Slot(key);
  if (mCells[hole].key != key)
    return false;
  // Later cells of the same probe run move into the hole when that keeps
  // them reachable from their home cell.
  std::size_t const mask = mCapacity - 1;
  for (std::size_t next = (hole + 1) & mask; mCells[next].key != kNoKey; next = (next + 1) & mask) {
    std::size_t const distance = (next - Home(mCells[next].key)) & mask;
    if (distance >= ((next - hole) & mask)) {
      mCells[hole] = mCells[next];
      hole = next;
    }
  }
  mCells[hole].key = kNoKey;
  --mCount;
  return true;
}

void KVTSimRpm_HashIndex::Clear() noexcept {
  mem_Free(mCells);
  mCells = nullptr;
  mCapacity = 0;
  mCount = 0;
}

void KVTSimRpm_HashIndex::Swap(KVTSimRpm_HashIndex& other) noexcept {
  std::swap(mCount, other.mCount);
  std::swap(mCapacity, other.mCapacity);
  std::swap(mCells, other.mCells);
}

void KVTSimRpm_HashIndex::Rehash(std::size_t capacity) {
  Cell* cells = static_cast<Cell*>(mem_Malloc(capacity * sizeof(Cell)));
  for (std::size_t i = 0; i < capacity; ++i)
    cells[i].key = kNoKey;
  Cell* old = mCells;
  std::size_t const oldCapacity = mCapacity;
  mCells = cells;
  mCapacity = capacity;
  for (std::size_t i = 0; i < oldCapacity; ++i) {
    if (old[i].key != kNoKey)
      mCells[Slot(old[i].key)] = old[i];
  }
  mem_Free(old);
}
