#pragma once

#include <cstddef>
#include <vector>

// Growable contiguous array with int indices. A thin layer over std::vector so
// that every list of the library speaks the same vocabulary (reinit, destroy).
template <typename T> class QDArray
{
public:
    QDArray() = default;
    QDArray(int n, const T& value) : m_data(n > 0 ? std::size_t(n) : 0, value) {}

    int size() const { return int(m_data.size()); }
    bool empty() const { return m_data.empty(); }

    T* begin() { return m_data.data(); }
    const T* begin() const { return m_data.data(); }
    T* end() { return m_data.data() + m_data.size(); }
    const T* end() const { return m_data.data() + m_data.size(); }

    T& operator[](int i) { return m_data[std::size_t(i)]; }
    const T& operator[](int i) const { return m_data[std::size_t(i)]; }

    void push_back(const T& value) { m_data.push_back(value); }
    void reserve(int n)
    {
        if (n > 0)
            m_data.reserve(std::size_t(n));
    }
    void resize(int n, const T& value = T()) { m_data.resize(n > 0 ? std::size_t(n) : 0, value); }
    void reinit(int n, const T& value = T())
    {
        m_data.clear();
        resize(n, value);
    }
    void clear() { m_data.clear(); }
    void destroy()
    {
        std::vector<T> released;
        m_data.swap(released);
    }
    void swap(QDArray<T>& other) { m_data.swap(other.m_data); }

    int capacity() const { return int(m_data.capacity()); }

private:
    std::vector<T> m_data;
};
