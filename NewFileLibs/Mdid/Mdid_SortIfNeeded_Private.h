#pragma once

#include <algorithm>
#include <functional>
#include <vector>

// Sorts stably what shifting, snapping or a foreign source may have brought out of order. Mostly nothing has been, and
// looking costs less than sorting.
template <class T, class Less, class Projection = std::identity>
void Mdid_SortIfNeeded(std::vector<T>& ioElements, Less iLess, Projection iProjection = {})
{
    if (!std::ranges::is_sorted(ioElements, iLess, iProjection))
        std::ranges::stable_sort(ioElements, iLess, iProjection);
}
