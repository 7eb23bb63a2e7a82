// cow_List<T>: the copy-on-write block list, the indexed sequence of the pool
// manager.
//
// Copies are cheap: a copy shares the storage of its source, and a writer
// unshares only what it touches. Items live in fixed-size blocks of
// B = 2^mBlockShift items; an index of pointers names the blocks. Index and
// blocks each carry a share count (cow_Counter). Logical item i sits at
// position p = mOrigin + i, in the block of slot p >> mBlockShift, at place
// p - (slot << mBlockShift). A movable origin makes insertion at the front as
// cheap as at the back; insertion and removal in the middle move the shorter
// side. The index grows and shrinks in steps of 16 slots.
//
// Items are copy-constructed in place and destroyed by explicit destructor
// calls, so element types that hold counts (handles) stay exact: every item
// is destroyed exactly once, when its last sharer lets go of its block.
//
// A bad index ends the process at once through std::abort, with no report
// and no error object; callers test indices before they use them. Slice
// clamps its arguments instead.
//
// Limits: lengths and positions are 32-bit. The end position
// (mOrigin + Length()) must stay at most 2^31 - 1; a growing member that would
// pass it raises KVTBasMemoryExhausted and leaves the list's items as they
// were. A list grown at the back can hold 2^31 - 1 items; the room that
// prepending keeps before the first item (the index's free slots) counts
// against the limit. All position arithmetic that can exceed it is 64-bit.
//
// An empty list that still holds a block after removals (a removal releases a
// block only when the emptied place is the first of its block at the back, or
// the last of its block at the front) releases that block when it is resized
// to 0, cleared or destroyed: Resize releases every block that lies wholly
// past the new end, whether or not it removes items.
//
// Exhaustion in any allocation raises KVTBasMemoryExhausted; the list is then
// still valid, holds the items it held and leaks nothing.
//
// REQUIRES: T's copy constructor, copy assignment and destructor do not throw;
// alignof(T) <= alignof(std::max_align_t).
// REQUIRES: external synchronization. Lists that share storage (copies,
// iterators) are used from one thread at a time; counts are plain integers.

#ifndef KVTSIM_CONTAINERS_COW_LIST_H_
#define KVTSIM_CONTAINERS_COW_LIST_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "KVTBasMem.h"
#include "KVTBasMemoryExhausted.h"
#include "KVTSimExport.h"
#include "KVTSimUttAssert.h"
#include "cow_Counter.h"
#include "cow_ListBlock.h"

// The bit pattern of n converted to a 32-bit float.
KVTSIM_EXPORT int getFloatMask(int n);

// The unbiased exponent of a float bit pattern: (bits >> 23) - 127, with an
// arithmetic shift.
KVTSIM_EXPORT int getPower(int bits);

// Selects the sizing constructor cow_List(cow_ListConstruct, n).
struct KVTSIM_EXPORT cow_ListConstruct {};

template <class T>
class cow_ListIter;
struct cow_ListTestPeer;

template <class T>
class KVTSIM_EXPORT cow_List {
 public:
  // An empty list without index storage; the first growth obtains it.
  cow_List() { Initialize(0); }

  // An empty list whose index is sized for n items: for n >= 256 the blocks
  // hold n/16 to n/8 items and the index has 24 to 32 slots; otherwise 16
  // slots of 16 items. A negative n sizes as for a small count.
  cow_List(cow_ListConstruct, int n) { Initialize(n); }

  // Lists sized for and holding the given items, in order.
  explicit cow_List(T const& a) : cow_List(cow_ListConstruct(), 1) { Append(a); }
  cow_List(T const& a, T const& b) : cow_List(cow_ListConstruct(), 2) {
    Append(a);
    Append(b);
  }
  cow_List(T const& a, T const& b, T const& c) : cow_List(cow_ListConstruct(), 3) {
    Append(a);
    Append(b);
    Append(c);
  }
  cow_List(T const& a, T const& b, T const& c, T const& d) : cow_List(cow_ListConstruct(), 4) {
    Append(a);
    Append(b);
    Append(c);
    Append(d);
  }
  cow_List(T const& a, T const& b, T const& c, T const& d, T const& e)
      : cow_List(cow_ListConstruct(), 5) {
    Append(a);
    Append(b);
    Append(c);
    Append(d);
    Append(e);
  }

  // Shares other's index and blocks in constant time; no item is copied.
  cow_List(cow_List const& other) noexcept
      : mItemCount(other.mItemCount),
        mSlotCount(other.mSlotCount),
        mBlockShift(other.mBlockShift),
        mOrigin(other.mOrigin),
        mIndexCounter(other.mIndexCounter),
        mIndex(other.mIndex) {
    mIndexCounter->Increment();
  }

  // Lets go of this list's storage (destroying the items when it was the last
  // sharer), then shares other's. Assigning a list to itself does nothing.
  cow_List& operator=(cow_List const& other);

  // Lets go of the storage; the last sharer destroys the items.
  ~cow_List();

  // The number of items.
  int Length() const noexcept { return mItemCount; }

  // Returns i when 0 <= i < Length(); otherwise ends the process.
  int CheckIndex(int i) const;

  // Read access to item i, or to the last item; a bad index (or an empty
  // list for Last) ends the process. The reference stays valid until this
  // list is next written, resized or destroyed.
  T const& ConstGet(int i) const;
  T const& Last() const;

  // Write access to item i: tests the index, then makes the index and the
  // block of i this list's own so that no sharer sees the write. Validity of
  // the reference as for ConstGet.
  T& Get(int i);

  // Item i without test or unsharing. REQUIRES: 0 <= i < Length(). A write
  // through UncheckedGet is seen by every sharer unless the block of i was
  // made this list's own (e.g. by Get) since the list was last copied.
  T const& UncheckedConstGet(int i) const { return *Address(i); }
  T& UncheckedGet(int i) { return *Address(i); }

  // Insert a copy of x at the end, at the front, or before item i
  // (0 <= i <= Length(), else the process ends). x may be an item of this
  // list. Past the length limit they raise KVTBasMemoryExhausted.
  void Append(T const& x);
  void Prepend(T const& x);
  void InsertIndex(int i, T const& x);

  // Remove item i, or the last item; a bad index (or an empty list) ends the
  // process. Moves the shorter side.
  void RemoveIndex(int i);
  void RemoveLast() { RemoveIndex(mItemCount - 1); }

  // Returns a copy of the last item, then removes it; an empty list ends the
  // process.
  T Pop();

  // Shrinks to n items (n >= Length() keeps the items) and sizes the index
  // for n items. Never adds items. A negative n ends the process.
  void Resize(int n);

  // Removes every item and releases the index and all blocks.
  void Clear() { Resize(0); }

  // Grows to n items, the new ones copies of x; nothing when n <= Length().
  void Fill(int n, T const& x);

  // Appends copies of all items of other (which may be this list).
  void Concatenate(cow_List const& other);

  // A new list with copies of items a to b - 1. Arguments are clamped to the
  // items held; b <= a gives an empty list.
  cow_List Slice(int a, int b) const;

  // The list becomes copies of items[0..n-1], in order; n == 0 empties it.
  // items may point into this list. A negative n ends the process.
  void SetFromArray(T const* items, int n);

  // A new array holding copies of all items; n receives the count. The
  // caller owns the array and releases it with DeleteCArray, which destroys
  // the items and frees the storage (also for an empty list, whose array is
  // not null).
  T* GetCArray(int& n) const;

  // Releases an array from GetCArray. Null is ignored.
  static void DeleteCArray(T* items) noexcept;

 private:
  friend class cow_ListIter<T>;
  friend struct cow_ListTestPeer;

  // A logical range [from, to) clipped to one block.
  struct Span {
    int from;
    int to;
  };

  static constexpr int kDefaultShift = 4;
  static constexpr int kSlotStep = 16;
  static constexpr std::int64_t kMaxPosition = 0x7FFFFFFF;
  // Room before the items of a GetCArray array, where their count is kept.
  static constexpr std::size_t kCArrayHeader = alignof(std::max_align_t);
  static_assert(alignof(T) <= alignof(std::max_align_t), "list items need ordinary alignment");

  void Initialize(int n);
  void CopyArray();
  void IsolateRange(int a, int b);
  void Isolate(int i) { IsolateRange(i, i); }
  void Prefix();
  void Put(int i, T const& x) { new (Address(i)) T(x); }
  void Destroy(int i) { Address(i)->~T(); }
  void InitializeBlock(T const* source, int first, int count);
  [[noreturn]] static void RaiseOutOfRange(int i);

  [[noreturn]] static void RaiseTooLong(std::int64_t items);
  int GrownCount(std::int64_t extra) const;
  int BlockSize() const { return 1 << mBlockShift; }
  T* Address(int i) const;
  Span BlockSpan(int k, int first, int end) const;
  static cow_ListBlock<T>** NewSlots(int count);
  void ReplaceShared(int k, int end, cow_ListBlock<T>* fresh);
  void DropSlot(int k);
  void TrimBlock(int k, int n, cow_ListBlock<T>* fresh);
  void ResizeIndex(int slots);

  std::int32_t mItemCount;
  std::int32_t mSlotCount;
  std::int32_t mBlockShift;
  std::int32_t mOrigin;
  cow_Counter* mIndexCounter;
  cow_ListBlock<T>** mIndex;
};

// ---------------------------------------------------------------------------
// Lifecycle

template <class T>
cow_List<T>& cow_List<T>::operator=(cow_List const& other) {
  if (this == &other)
    return *this;
  if (mIndexCounter->Decrement()) {
    Resize(0);
    delete mIndexCounter;
  }
  mItemCount = other.mItemCount;
  mSlotCount = other.mSlotCount;
  mBlockShift = other.mBlockShift;
  mOrigin = other.mOrigin;
  mIndexCounter = other.mIndexCounter;
  mIndex = other.mIndex;
  mIndexCounter->Increment();
  return *this;
}

template <class T>
cow_List<T>::~cow_List() {
  if (mIndexCounter->Decrement()) {
    Resize(0);
    delete mIndexCounter;
  }
  mItemCount = 0;
  mSlotCount = 0;
  mBlockShift = kDefaultShift;
  mOrigin = 0;
  mIndexCounter = nullptr;
  mIndex = nullptr;
}

template <class T>
void cow_List<T>::Initialize(int n) {
  mItemCount = 0;
  mSlotCount = 0;
  mBlockShift = kDefaultShift;
  mOrigin = 0;
  mIndex = nullptr;
  mIndexCounter = new cow_Counter;
  if (n == 0)
    return;  // the first growth obtains the index from mem_Realloc
  int const f = getFloatMask(n);
  int const e = getPower(f);
  int slots = 0;
  if (e - 3 > mBlockShift) {
    // Blocks of n/16 to n/8 items: 8 to 16 of them hold n.
    mBlockShift = e - 3;
    slots = ((f & 0x7FFFFF) + 0x8FFFFF) >> 20;
  }
  slots += kSlotStep;
  try {
    mIndex = NewSlots(slots);
  } catch (...) {
    delete mIndexCounter;  // the destructor does not run for a failed constructor
    throw;
  }
  mSlotCount = slots;
}

// ---------------------------------------------------------------------------
// Access

template <class T>
int cow_List<T>::CheckIndex(int i) const {
  if (i < 0 || i >= mItemCount)
    RaiseOutOfRange(i);
  return i;
}

template <class T>
T const& cow_List<T>::ConstGet(int i) const {
  return *Address(CheckIndex(i));
}

template <class T>
T const& cow_List<T>::Last() const {
  return ConstGet(mItemCount - 1);
}

template <class T>
T& cow_List<T>::Get(int i) {
  CheckIndex(i);
  CopyArray();
  Isolate(i);
  return *Address(i);
}

template <class T>
T* cow_List<T>::Address(int i) const {
  int const p = mOrigin + i;
  int const slot = p >> mBlockShift;
  return mIndex[slot]->Get(p - (slot << mBlockShift));
}

// ---------------------------------------------------------------------------
// Growth

template <class T>
void cow_List<T>::Append(T const& x) {
  // x may lie in a block of this list: blocks replaced below stay alive in
  // their other sharers, so x remains readable.
  Resize(GrownCount(1));
  Isolate(mItemCount);
  Put(mItemCount, x);
  ++mItemCount;
}

template <class T>
void cow_List<T>::Prepend(T const& x) {
  GrownCount(1);
  Prefix();
  Isolate(-1);
  --mOrigin;
  Put(0, x);
  ++mItemCount;
}

template <class T>
void cow_List<T>::InsertIndex(int i, T const& x) {
  if (i == mItemCount)
    return Append(x);
  if (i == 0)
    return Prepend(x);
  if (i < 0 || i > mItemCount)
    RaiseOutOfRange(i);
  T const item(x);  // x may be an item of this list, which the shift overwrites
  int const count = GrownCount(1);
  if (i >= mItemCount - i) {
    Resize(count);
    IsolateRange(i, mItemCount);
    Put(mItemCount, UncheckedConstGet(mItemCount - 1));
    for (int j = mItemCount - 1; j > i; --j)
      UncheckedGet(j) = UncheckedConstGet(j - 1);
  } else {
    Prefix();
    IsolateRange(-1, i);
    --mOrigin;
    Put(0, UncheckedConstGet(1));
    for (int j = 1; j < i; ++j)
      UncheckedGet(j) = UncheckedConstGet(j + 1);
  }
  UncheckedGet(i) = item;
  ++mItemCount;
}

template <class T>
void cow_List<T>::Fill(int n, T const& x) {
  if (n <= mItemCount)
    return;
  Resize(n);
  IsolateRange(mItemCount, n - 1);
  for (int j = mItemCount; j < n; ++j)
    Put(j, x);
  mItemCount = n;
}

template <class T>
void cow_List<T>::Concatenate(cow_List const& other) {
  int const m = other.mItemCount;  // read first: other may be this list
  Resize(GrownCount(m));
  if (m == 0)
    return;
  IsolateRange(mItemCount, mItemCount + m - 1);
  for (int j = 0; j < m; ++j)
    Put(mItemCount + j, other.UncheckedConstGet(j));
  mItemCount += m;
}

template <class T>
void cow_List<T>::SetFromArray(T const* items, int n) {
  if (n < 0)
    RaiseOutOfRange(n);
  // items may lie in this list's blocks; this share keeps them alive.
  cow_List const keep(*this);
  Resize(0);
  if (n == 0)
    return;
  Resize(n);
  IsolateRange(0, n - 1);
  int const B = BlockSize();
  for (int j = 0; j < n;) {
    int const count = std::min(n - j, B - ((mOrigin + j) & (B - 1)));
    InitializeBlock(items + j, j, count);
    j += count;
  }
  mItemCount = n;
}

template <class T>
void cow_List<T>::InitializeBlock(T const* source, int first, int count) {
  T* const target = Address(first);
  for (int j = 0; j < count; ++j)
    new (target + j) T(source[j]);
}

// ---------------------------------------------------------------------------
// Removal

template <class T>
void cow_List<T>::RemoveIndex(int i) {
  CheckIndex(i);
  CopyArray();
  int const mask = BlockSize() - 1;
  if (i >= mItemCount - i) {
    IsolateRange(i, mItemCount - 1);
    --mItemCount;
    for (int j = i; j < mItemCount; ++j)
      UncheckedGet(j) = UncheckedConstGet(j + 1);
    Destroy(mItemCount);
    int const emptied = mOrigin + mItemCount;
    if ((emptied & mask) == 0)
      DropSlot(emptied >> mBlockShift);
  } else {
    IsolateRange(0, i);
    --mItemCount;
    for (int j = i; j > 0; --j)
      UncheckedGet(j) = UncheckedConstGet(j - 1);
    Destroy(0);
    ++mOrigin;
    if ((mOrigin & mask) == 0)
      DropSlot((mOrigin - 1) >> mBlockShift);
  }
}

template <class T>
T cow_List<T>::Pop() {
  T item(Last());
  RemoveLast();
  return item;
}

// ---------------------------------------------------------------------------
// Sizing

template <class T>
void cow_List<T>::Resize(int n) {
  if (n < 0)
    RaiseOutOfRange(n);
  std::int64_t const end = n == 0 ? 0 : std::int64_t{n} + mOrigin;
  if (end > kMaxPosition)
    RaiseTooLong(end);
  CopyArray();
  std::int64_t const B = BlockSize();
  int const need = static_cast<int>((end + B - 1) >> mBlockShift);
  int const slots = static_cast<int>((end + kSlotStep * B - 1) / (kSlotStep * B) * kSlotStep);
  bool const trim = n < mItemCount && end < need * B;
  // The only allocation that can fail comes before any item is destroyed.
  cow_ListBlock<T>* fresh = nullptr;
  if (trim && mIndex[need - 1]->Count().Value() > 1)
    fresh = new cow_ListBlock<T>(BlockSize());
  // Every block wholly past the new end goes, also one that holds no item.
  for (int k = need; k < mSlotCount; ++k)
    DropSlot(k);
  if (trim)
    TrimBlock(need - 1, n, fresh);
  if (mItemCount > n) {
    mItemCount = n;
    if (n == 0)
      mBlockShift = kDefaultShift;
  }
  if (n == 0)
    mOrigin = 0;  // no block is left, so an index from scratch starts at 0
  if (slots != mSlotCount)
    ResizeIndex(slots);
}

template <class T>
void cow_List<T>::ResizeIndex(int slots) {
  mIndex = static_cast<cow_ListBlock<T>**>(
      mem_Realloc(mIndex, static_cast<std::size_t>(slots) * sizeof(cow_ListBlock<T>*)));
  for (int k = mSlotCount; k < slots; ++k)
    mIndex[k] = nullptr;
  mSlotCount = slots;
}

template <class T>
void cow_List<T>::Prefix() {
  if (mOrigin != 0) {
    CopyArray();
    return;
  }
  int const used = static_cast<int>((std::int64_t{mItemCount} + BlockSize() - 1) >> mBlockShift);
  if (used != mSlotCount) {
    CopyArray();
  } else {
    std::int64_t const grown = (std::int64_t{used} << mBlockShift) + 1;
    if (grown > kMaxPosition)
      RaiseTooLong(grown);
    Resize(static_cast<int>(grown));  // enlarges the index; the items stay
  }
  int const d = mSlotCount - used;
  std::int64_t const origin = std::int64_t{d} << mBlockShift;
  if (origin + mItemCount > kMaxPosition)
    RaiseTooLong(origin + mItemCount);
  // All free slots move to the front at once. Rotating rather than
  // overwriting keeps reachable a block that a failed growth left past the end.
  std::rotate(mIndex, mIndex + used, mIndex + mSlotCount);
  mOrigin = static_cast<int>(origin);
}

// ---------------------------------------------------------------------------
// Sharing

template <class T>
void cow_List<T>::CopyArray() {
  if (mIndexCounter->Value() < 2)
    return;
  cow_ListBlock<T>** copy = nullptr;
  if (mSlotCount != 0) {
    copy = NewSlots(mSlotCount);
    std::copy(mIndex, mIndex + mSlotCount, copy);
  }
  cow_Counter* counter;
  try {
    counter = new cow_Counter;
  } catch (...) {
    mem_Free(copy);
    throw;
  }
  mIndexCounter->Decrement();
  mIndexCounter = counter;
  mIndex = copy;
  for (int k = 0; k < mSlotCount; ++k) {
    if (mIndex[k] != nullptr)
      mIndex[k]->Count().Increment();
  }
}

template <class T>
void cow_List<T>::IsolateRange(int a, int b) {
  int const first = (mOrigin + a) >> mBlockShift;
  int const last = (mOrigin + b) >> mBlockShift;
  KVTSIM_ASSERT(mIndexCounter->Value() == 1);
  KVTSIM_ASSERT(first >= 0 && last < mSlotCount);
  for (int k = first; k <= last; ++k) {
    cow_ListBlock<T>* const block = mIndex[k];
    if (block == nullptr) {
      mIndex[k] = new cow_ListBlock<T>(BlockSize());
    } else if (block->Count().Value() > 1) {
      ReplaceShared(k, mItemCount, new cow_ListBlock<T>(BlockSize()));
    }
  }
}

// Puts fresh into slot k in place of the shared block there, holding copies
// of the shared block's items whose logical index lies from 0 to end - 1.
template <class T>
void cow_List<T>::ReplaceShared(int k, int end, cow_ListBlock<T>* fresh) {
  cow_ListBlock<T>* const shared = mIndex[k];
  mIndex[k] = fresh;
  Span const span = BlockSpan(k, 0, end);
  if (span.from < span.to) {
    int const place = mOrigin + span.from - (k << mBlockShift);
    InitializeBlock(shared->ConstGet(place), span.from, span.to - span.from);
  }
  shared->Count().Decrement();  // it was above 1, another index still holds it
}

// Lets go of slot k's block and nulls the slot; the last sharer destroys the
// block's items (highest first) and releases it.
template <class T>
void cow_List<T>::DropSlot(int k) {
  cow_ListBlock<T>* const block = mIndex[k];
  if (block == nullptr)
    return;
  if (block->Count().Decrement()) {
    Span const span = BlockSpan(k, 0, mItemCount);
    for (int i = span.to - 1; i >= span.from; --i)
      Destroy(i);
    delete block;
  }
  mIndex[k] = nullptr;
}

// Removes the items from logical n on out of the block of slot k, which
// reaches past the new end n. A shared block is replaced by fresh instead.
template <class T>
void cow_List<T>::TrimBlock(int k, int n, cow_ListBlock<T>* fresh) {
  if (fresh != nullptr) {
    ReplaceShared(k, n, fresh);
    return;
  }
  Span const span = BlockSpan(k, n, mItemCount);
  for (int i = span.to - 1; i >= span.from; --i)
    Destroy(i);
}

// The logical indexes from first to end - 1 that fall into the block of slot
// k; empty (0, 0) when there are none. 64-bit: slot starts of a large index
// may lie past 2^31.
template <class T>
typename cow_List<T>::Span cow_List<T>::BlockSpan(int k, int first, int end) const {
  std::int64_t const start = (std::int64_t{k} << mBlockShift) - mOrigin;
  std::int64_t const from = std::max<std::int64_t>(first, start);
  std::int64_t const to = std::min<std::int64_t>(end, start + BlockSize());
  if (from >= to)
    return Span{0, 0};
  return Span{static_cast<int>(from), static_cast<int>(to)};
}

template <class T>
cow_ListBlock<T>** cow_List<T>::NewSlots(int count) {
  auto** slots = static_cast<cow_ListBlock<T>**>(
      mem_Malloc(static_cast<std::size_t>(count) * sizeof(cow_ListBlock<T>*)));
  std::fill(slots, slots + count, nullptr);
  return slots;
}

// ---------------------------------------------------------------------------
// Copies out

template <class T>
cow_List<T> cow_List<T>::Slice(int a, int b) const {
  int const s = std::min(std::max(a, 0), mItemCount);
  int const e = std::min(std::max(b, s), mItemCount);
  cow_List result(cow_ListConstruct(), e - s);
  if (e == s)
    return result;
  // The sized index already covers e - s items; no resize is needed.
  result.IsolateRange(0, e - s - 1);
  for (int j = s; j < e; ++j)
    result.Put(j - s, UncheckedConstGet(j));
  result.mItemCount = e - s;
  return result;
}

template <class T>
T* cow_List<T>::GetCArray(int& n) const {
  n = mItemCount;
  char* const raw = static_cast<char*>(
      mem_OperatorNewTinyThrow(kCArrayHeader + static_cast<std::size_t>(n) * sizeof(T)));
  std::memcpy(raw, &n, sizeof n);
  T* const items = reinterpret_cast<T*>(raw + kCArrayHeader);
  for (int j = 0; j < n; ++j) {
    new (items + j) T();
    items[j] = UncheckedConstGet(j);
  }
  return items;
}

template <class T>
void cow_List<T>::DeleteCArray(T* items) noexcept {
  if (items == nullptr)
    return;
  char* const raw = reinterpret_cast<char*>(items) - kCArrayHeader;
  int n;
  std::memcpy(&n, raw, sizeof n);
  for (int j = n - 1; j >= 0; --j)
    items[j].~T();
  mem_Free(raw);
}

// ---------------------------------------------------------------------------
// Failures

template <class T>
void cow_List<T>::RaiseOutOfRange(int) {
  std::abort();
}

template <class T>
void cow_List<T>::RaiseTooLong(std::int64_t items) {
  KVTBasMemoryExhausted error(static_cast<std::size_t>(items) * sizeof(T));
  error.Throw(__FILE__, __LINE__);
}

// Length() + extra, when the list may grow that far.
template <class T>
int cow_List<T>::GrownCount(std::int64_t extra) const {
  std::int64_t const n = mItemCount + extra;
  if (n + mOrigin > kMaxPosition)
    RaiseTooLong(n);
  return static_cast<int>(n);
}

// The int list's members are compiled once, in the library.
extern template class cow_List<int>;

#endif  // KVTSIM_CONTAINERS_COW_LIST_H_
