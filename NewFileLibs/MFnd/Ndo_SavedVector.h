#pragma once

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

// The saved contents of a vector: all of it while a step is open, and afterwards only the middle that differs from
// what the vector became, with its place. History then costs what was edited, not what the list holds.
template <class T>
class Ndo_SavedVector
{
    static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>,
                  "otherwise a restore could be left half done");

public:
    explicit Ndo_SavedVector(const std::vector<T>& iContents) : mElements(iContents) {}

    // iNow: the vector as the step left it. iIsSame(saved, now), which must not throw: whether nothing at all tells the
    // two elements apart; a false no costs memory, a false yes loses an edit. Linear in the vector. Without memory,
    // stays whole.
    template <class IsSame>
    void Shrink(const std::vector<T>& iNow, IsSame iIsSame) noexcept
    {
        if (!mIsWhole)
            return;
        const auto head = std::mismatch(mElements.begin(), mElements.end(), iNow.begin(), iNow.end(), iIsSame);
        const auto tail = std::mismatch(mElements.rbegin(), std::make_reverse_iterator(head.first), iNow.rbegin(),
                                        std::make_reverse_iterator(head.second), iIsSame);
        KeepMiddle(head.first, tail.first.base(), iNow.size());
    }

    // ioNow: the vector as Shrink saw it (or anything, if it never did); otherwise reported, and left as it is. Strong
    // guarantee; throws std::bad_alloc.
    void RestoreInto(std::vector<T>& ioNow) const
    {
        std::vector<T> elements = mElements;
        if (mIsWhole)
            ioNow = std::move(elements);
        else if (CMN_VERIFY(ioNow.size() == mSizeWhenShrunk))
            ReplaceMiddle(ioNow, std::move(elements));
    }

    bool IsWhole() const { return mIsWhole; }
    const std::vector<T>& GetElements() const { return mElements; } // all, or the middle

private:
    using Iterator = typename std::vector<T>::iterator;

    void KeepMiddle(Iterator iFirst, Iterator iLast, std::size_t iSizeNow) noexcept
    {
        const auto head = iFirst - mElements.begin();
        const auto tail = mElements.end() - iLast;
        if (head + tail == 0)
            return;
        try
        {
            mElements = std::vector<T>(std::make_move_iterator(iFirst), std::make_move_iterator(iLast));
        }
        catch (const std::bad_alloc&)
        {
            return;
        }
        mIsWhole = false;
        mHead = head;
        mTail = tail;
        mSizeWhenShrunk = iSizeNow;
    }

    void ReplaceMiddle(std::vector<T>& ioNow, std::vector<T> iMiddle) const
    {
        const auto kept = static_cast<std::size_t>(mHead + mTail);
        ioNow.reserve(kept + iMiddle.size());
        // From here on nothing throws.
        const auto first = ioNow.begin() + mHead;
        const auto last = ioNow.end() - mTail;
        const auto inPlace = std::min(last - first, std::ssize(iMiddle));
        const auto end = std::move(iMiddle.begin(), iMiddle.begin() + inPlace, first);
        const auto gap = ioNow.erase(end, last);
        ioNow.insert(gap, std::make_move_iterator(iMiddle.begin() + inPlace), std::make_move_iterator(iMiddle.end()));
    }

    std::vector<T> mElements;
    bool mIsWhole = true;
    std::ptrdiff_t mHead = 0; // elements before the middle
    std::ptrdiff_t mTail = 0; // and after it
    std::size_t mSizeWhenShrunk = 0;
};
