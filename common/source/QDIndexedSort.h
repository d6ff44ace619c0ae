#pragma once

#include "QDArray.h"
#include "QDVector3f.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

// Three-way order from T::operator<.
template <typename T> struct QDBasicComparator
{
    int operator()(const T& a, const T& b) const
    {
        if (a < b) return -1;
        if (b < a) return 1;
        return 0;
    }
};

// Three-way order of positions within a tolerance. Not transitive: chains of
// close positions can make a < b < c < a.
struct QDVector3fComp
{
    explicit QDVector3fComp(float eps) : m_eps(eps) {}
    int operator()(const QDVector3f& a, const QDVector3f& b) const
    {
        return a.compareEps(b, m_eps);
    }

    float m_eps;
};

// Orders indices by the values they point to; ties fall back to the indices,
// which makes the order total whenever Comp is consistent.
template <typename T, typename Comp> class QDIndexedComparator
{
public:
    QDIndexedComparator(const T* values, Comp comp) : m_values(values), m_comp(comp) {}

    bool operator()(int i, int j) const
    {
        int r = m_comp(m_values[i], m_values[j]);
        if (r < 0) return true;
        if (r > 0) return false;
        return i < j;
    }

private:
    const T* m_values;
    Comp m_comp;
};

// Merge sort whose every access is bounded by explicit indices, so it stays in
// bounds even when 'less' is not a strict weak order (tolerant or NaN
// comparisons); introsort's unguarded scans would not.
template <typename Less> void qdBoundedSort(int* items, int count, Less less)
{
    typedef std::ptrdiff_t Index; // wide enough for lo + 2 * width near INT_MAX
    const Index n = count;
    const Index run = 16;
    for (Index lo = 0; lo < n; lo += run)
    {
        Index hi = std::min(lo + run, n);
        for (Index i = lo + 1; i < hi; ++i)
        {
            int item = items[i];
            Index j = i;
            for (; j > lo && less(item, items[j - 1]); --j)
                items[j] = items[j - 1];
            items[j] = item;
        }
    }
    if (n <= run) return;
    std::vector<int> buffer(static_cast<std::size_t>(n), 0);
    int* from = items;
    int* to = buffer.data();
    for (Index width = run; width < n; width *= 2)
    {
        for (Index lo = 0; lo < n; lo += 2 * width)
        {
            Index mid = std::min(lo + width, n);
            Index hi = std::min(mid + width, n);
            Index a = lo, b = mid, out = lo;
            while (a < mid && b < hi)
                to[out++] = less(from[b], from[a]) ? from[b++] : from[a++];
            while (a < mid)
                to[out++] = from[a++];
            while (b < hi)
                to[out++] = from[b++];
        }
        std::swap(from, to);
    }
    if (from != items) std::copy(from, from + n, items);
}

// Fills order with 0 .. n-1 sorted by the values they point to.
template <typename T, typename Comp>
void indexedSort(QDArray<int>& order, int n, const T* values, Comp comp)
{
    order.reinit(n);
    for (int i = 0; i < n; ++i)
        order[i] = i;
    qdBoundedSort(order.begin(), order.size(), QDIndexedComparator<T, Comp>(values, comp));
}

template <typename T, typename Comp>
void indexedSort(QDArray<int>& order, const QDArray<T>& values, Comp comp)
{
    indexedSort(order, values.size(), values.begin(), comp);
}

template <typename T> void indexedSort(QDArray<int>& order, const QDArray<T>& values)
{
    indexedSort(order, values.size(), values.begin(), QDBasicComparator<T>());
}
