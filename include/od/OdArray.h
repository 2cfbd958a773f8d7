// OdArray: the drawing SDK's growable array, reduced to the members drutils and
// its callers use. Indices are unsigned as in the SDK; out-of-range access is the
// caller's error, as there.
#pragma once

#include <algorithm>
#include <vector>

template <class T> class OdArray {
public:
    using size_type = unsigned int;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    OdArray() = default;
    explicit OdArray(size_type reserve) { m_v.reserve(reserve); }

    size_type size() const { return size_type(m_v.size()); }
    size_type length() const { return size(); }
    size_type logicalLength() const { return size(); }
    bool isEmpty() const { return m_v.empty(); }
    bool empty() const { return m_v.empty(); }

    T& operator[](size_type i) { return m_v[i]; }
    const T& operator[](size_type i) const { return m_v[i]; }
    T& at(size_type i) { return m_v.at(i); }
    const T& at(size_type i) const { return m_v.at(i); }
    T& first() { return m_v.front(); }
    const T& first() const { return m_v.front(); }
    T& last() { return m_v.back(); }
    const T& last() const { return m_v.back(); }
    const T* asArrayPtr() const { return m_v.data(); }
    T* asArrayPtr() { return m_v.data(); }

    iterator begin() { return m_v.begin(); }
    iterator end() { return m_v.end(); }
    const_iterator begin() const { return m_v.begin(); }
    const_iterator end() const { return m_v.end(); }

    size_type append(const T& v) { m_v.push_back(v); return size() - 1; }
    OdArray& push_back(const T& v) { m_v.push_back(v); return *this; }
    OdArray& insertAt(size_type i, const T& v) { m_v.insert(m_v.begin() + i, v); return *this; }
    OdArray& removeAt(size_type i) { m_v.erase(m_v.begin() + i); return *this; }
    OdArray& removeLast() { m_v.pop_back(); return *this; }
    OdArray& clear() { m_v.clear(); return *this; }
    OdArray& resize(size_type n) { m_v.resize(n); return *this; }
    OdArray& resize(size_type n, const T& v) { m_v.resize(n, v); return *this; }
    OdArray& setLogicalLength(size_type n) { return resize(n); }
    OdArray& reserve(size_type n) { m_v.reserve(n); return *this; }

    bool find(const T& v, size_type& at, size_type start = 0) const {
        auto it = std::find(m_v.begin() + std::min<size_t>(start, m_v.size()), m_v.end(), v);
        if (it == m_v.end())
            return false;
        at = size_type(it - m_v.begin());
        return true;
    }
    bool contains(const T& v, size_type start = 0) const { size_type at; return find(v, at, start); }
    bool remove(const T& v) {
        size_type at;
        if (!find(v, at))
            return false;
        removeAt(at);
        return true;
    }

    friend bool operator==(const OdArray& a, const OdArray& b) { return a.m_v == b.m_v; }

private:
    std::vector<T> m_v;
};
