// A value that copies share until one of them changes it.

#ifndef LOCALSTORAGE_RECORDTREE_SHARED_H
#define LOCALSTORAGE_RECORDTREE_SHARED_H

#include <memory>

/// Copying is cheap; the first change of a shared value copies it, so a snapshot keeps what it saw.
///
/// Threads: making, changing and destroying copies of one value all happen under one lock; reading
/// a copy that one owns needs none.
template <typename T>
class CShared {
public:
    CShared() : m_pValue(std::make_shared<T>()) {}

    const T& operator*() const { return *m_pValue; }
    const T* operator->() const { return m_pValue.get(); }

    T& Change() {
        if (m_pValue.use_count() > 1) m_pValue = std::make_shared<T>(*m_pValue);
        return *m_pValue;
    }

private:
    std::shared_ptr<T> m_pValue;
};

#endif  // LOCALSTORAGE_RECORDTREE_SHARED_H
