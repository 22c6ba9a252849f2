// The lines between the callers and the writer thread: text in a ring of 2 MiB, lengths beside it.
//
// Lines are taken out in the order in which they were put in and keep their room until they are
// given back, so the writer outputs them where they stand. Nothing is allocated after Create. Not
// synchronised, but lines that were handed out may be read while others are put in.

#ifndef LOCALSTORAGE_LOG_LINERING_H
#define LOCALSTORAGE_LOG_LINERING_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

/// Some lines, one right behind the other, without NULs.
struct LogLines {
    const char* m_pText = nullptr;
    std::span<const std::uint16_t> m_vecLen;  ///< of each line

    std::size_t Bytes() const;
    /// The lines behind the first `nCount`.
    LogLines Behind(std::size_t nCount) const;
};

class CLineRing {
public:
    static constexpr std::size_t CAPACITY = 0x200000;  ///< bytes
    static constexpr std::size_t LINES = 0x10000;      ///< more than 2 MiB of log lines come to
    static constexpr std::size_t AT_ONCE = 0x40000;    ///< bytes handed out together, at most

    /// Allocates an empty ring; false when there is no memory.
    bool Create();
    void Destroy();

    /// False when there is no room for the line (of at most 65,535 bytes).
    bool Push(const char* pText, std::size_t nLen);

    /// What is in it.
    std::size_t Lines() const { return m_nLines; }
    std::size_t Used() const { return CAPACITY - m_nFree; }

    /// The oldest lines, as many as stand together; none when the ring is empty.
    LogLines Oldest() const;
    /// Takes back what Oldest handed out.
    void GiveBack(const LogLines& stLines);

private:
    static constexpr std::size_t NOWHERE = CAPACITY + 1;

    std::unique_ptr<char[]> m_pBuffer;
    std::unique_ptr<std::uint16_t[]> m_pLen;
    std::size_t m_nRead = 0;
    std::size_t m_nWrite = 0;
    std::size_t m_nWrap = NOWHERE;  ///< where the text ends that goes on at the start
    std::size_t m_nFree = CAPACITY;
    std::size_t m_nFirstLine = 0;
    std::size_t m_nLines = 0;
};

#endif  // LOCALSTORAGE_LOG_LINERING_H
