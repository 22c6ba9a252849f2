// What the engine's benchmarks share: a place to record to, an engine there, a stream to record.

#ifndef LOCALSTORAGE_BENCH_ENGINEBENCH_H
#define LOCALSTORAGE_BENCH_ENGINEBENCH_H

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "localstorage/LocalStorage.h"

/// Ends the program unless `bOk`.
inline void Demand(bool bOk, const char* pWhat) {
    if (bOk) return;
    std::fprintf(stderr, "%s\n", pWhat);
    std::exit(1);
}

/// Bytes for row titles: "64 KiB", "1400 B".
std::string SizeName(std::size_t nBytes);

/// Where a benchmark's files lie: in memory where there is room for them, or on the disk of the
/// temporary files.
enum class scratchPlace { MEMORY, DISK };

/// An empty directory; removed in the end. Without a trailing "/".
class CScratchDir {
public:
    explicit CScratchDir(scratchPlace ePlace = scratchPlace::MEMORY);
    ~CScratchDir();
    CScratchDir(const CScratchDir&) = delete;
    CScratchDir& operator=(const CScratchDir&) = delete;

    const std::string& Path() const { return m_strPath; }
    std::string operator/(const std::string& strName) const { return m_strPath + "/" + strName; }

private:
    std::string m_strPath;
};

/// An engine that records below a directory, with the library's log there, too. Any failure ends
/// the program.
class CBenchEngine {
public:
    /// Takes lsRecDir from `strDir`; the other settings are the caller's.
    CBenchEngine(const std::string& strDir, tagStoreInfo& stInfo);
    ~CBenchEngine();
    CBenchEngine(const CBenchEngine&) = delete;
    CBenchEngine& operator=(const CBenchEngine&) = delete;

    CLocalStorageInterface* operator->() const { return m_pEngine; }
    void Open(const std::string& strCamera);
    void Write(const std::string& strCamera, unsigned nDataType, const char* pData,
               std::size_t nSize) {
        Demand(
            m_pEngine->WriteData(const_cast<char*>(strCamera.c_str()), nDataType,
                                 const_cast<char*>(pData), static_cast<unsigned>(nSize), m_stFile),
            "a piece cannot be written");
    }
    void Close(const std::string& strCamera);

private:
    CLocalStorageInterface* m_pEngine = nullptr;
    recFileInfo m_stFile;
};

/// A stream of about `nSize` bytes, made of whole repetitions of one that make-corpus made.
std::string ReadStream(const std::string& strName, std::size_t nSize);

#endif  // LOCALSTORAGE_BENCH_ENGINEBENCH_H
