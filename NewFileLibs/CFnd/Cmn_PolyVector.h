#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

// A growable array that can be passed and deleted through a pointer to its base.
template <class T>
class Cmn_PolyVectorImpl
{
public:
    using value_type = T;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    Cmn_PolyVectorImpl() = default;
    Cmn_PolyVectorImpl(const Cmn_PolyVectorImpl&) = default;
    Cmn_PolyVectorImpl(Cmn_PolyVectorImpl&&) noexcept = default;
    Cmn_PolyVectorImpl& operator=(const Cmn_PolyVectorImpl&) = default;
    Cmn_PolyVectorImpl& operator=(Cmn_PolyVectorImpl&&) noexcept = default;
    virtual ~Cmn_PolyVectorImpl() = default;

    iterator begin() { return mElements.begin(); }
    iterator end() { return mElements.end(); }
    const_iterator begin() const { return mElements.begin(); }
    const_iterator end() const { return mElements.end(); }
    std::size_t size() const { return mElements.size(); }
    std::size_t capacity() const { return mElements.capacity(); }
    bool empty() const { return mElements.empty(); }
    const T* data() const { return mElements.data(); }
    T* data() { return mElements.data(); }

    // iIndex: below size().
    const T& operator[](std::size_t iIndex) const { return mElements[iIndex]; }
    T& operator[](std::size_t iIndex) { return mElements[iIndex]; }
    // Only when not empty.
    const T& back() const { return mElements.back(); }

    void reserve(std::size_t iCapacity) { mElements.reserve(iCapacity); }
    void push_back(const T& iElement) { mElements.push_back(iElement); }
    void push_back(T&& iElement) { mElements.push_back(std::move(iElement)); }
    // iElements: none of this vector's own.
    void append(std::span<const T> iElements) { mElements.insert(mElements.end(), iElements.begin(), iElements.end()); }
    // Before iPlace; returns where the element is.
    iterator insert(const_iterator iPlace, T iElement) { return mElements.insert(iPlace, std::move(iElement)); }
    iterator erase(const_iterator iPlace) { return mElements.erase(iPlace); }
    void pop_back() { mElements.pop_back(); }
    void clear() { mElements.clear(); }

private:
    std::vector<T> mElements;
};

template <class T>
class Cmn_PolyVector : public Cmn_PolyVectorImpl<T>
{
};
