// cow_ListIter<T>: a forward walk over a snapshot of a cow_List<T>.
//
// The iterator holds a share of the list, so writes to the list after its
// creation unshare the touched index and blocks and leave the walk unchanged.
// Typical use:
//
//   for (cow_ListIter<T> it(list); it.NotDone(); it.Next()) Use(it.CurrentItem());
//
// REQUIRES: external synchronization (the share counts are plain integers).

#ifndef KVTSIM_CONTAINERS_COW_LISTITER_H_
#define KVTSIM_CONTAINERS_COW_LISTITER_H_

#include "KVTSimExport.h"
#include "cow_List.h"

template <class T>
class KVTSIM_EXPORT cow_ListIter {
 public:
  // Shares list's storage and stands on its first item.
  explicit cow_ListIter(cow_List<T> const& list) : mList(list) { First(); }

  // Back to the first item of the snapshot.
  void First() {
    mEnd = mList.mOrigin + mList.mItemCount;
    mBlockSize = mList.BlockSize();
    mPosition = mList.mOrigin;
    mPlace = mPosition - ((mPosition >> mList.mBlockShift) << mList.mBlockShift);
    mStorage = StorageAt(mPosition);
  }

  // Steps to the next item; does nothing once the walk is done.
  void Next() {
    if (!NotDone())
      return;
    ++mPosition;
    if (++mPlace == mBlockSize) {
      mPlace = 0;
      mStorage = StorageAt(mPosition);
    }
  }

  // True while the iterator stands on an item.
  bool NotDone() const { return mPosition < mEnd; }

  // The current item; valid while this iterator lives. When the walk is done
  // the process ends, as for a bad list index.
  T const& CurrentItem() const {
    if (!NotDone())
      cow_List<T>::RaiseOutOfRange(ArrayIndex());
    return mStorage[mPlace];
  }

  // The logical index of the current item in the snapshot, counted from 0.
  int ArrayIndex() const { return mPosition - mList.mOrigin; }

 private:
  // The storage of the block holding position, or null at or past the end.
  T const* StorageAt(int position) const {
    if (position >= mEnd)
      return nullptr;
    return mList.mIndex[position >> mList.mBlockShift]->Items();
  }

  cow_List<T> mList;  // the snapshot
  T const* mStorage;  // items of the current block; null once past the end
  int mEnd;
  int mBlockSize;
  int mPosition;
  int mPlace;
};

#endif  // KVTSIM_CONTAINERS_COW_LISTITER_H_
