// A file that is open: a recording or picture to be read, or room of the tool's own.

#ifndef LOCALSTORAGE_TOOL_BASE_OPENFILE_H
#define LOCALSTORAGE_TOOL_BASE_OPENFILE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/stat.h>

#include "base/Times.h"

/// Every call says at which byte, so threads may share it. All throw CFailure.
class COpenFile {
public:
    /// To be read. A link in the last component of the path is not followed, and what is no regular
    /// file is refused.
    explicit COpenFile(const std::string& strPath);
    /// A new one in a directory, without a name: it goes with the object, however the program ends.
    /// It never has more bytes than `nMost`.
    COpenFile(const std::string& strDir, std::uint64_t nMost);
    ~COpenFile();
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;

    /// Bytes that it has now.
    std::uint64_t Size() const;
    /// When its content was changed last.
    UtcTime LastChange() const;
    /// How many bytes were read; 0 at the end alone.
    std::size_t Read(std::uint64_t nAt, std::span<char> stBuffer) const;
    void Write(std::uint64_t nAt, std::span<const char> stBytes);

private:
    struct stat Look() const;
    [[noreturn]] void Fail(const char* pWhat) const;

    const std::string m_strPath;
    const std::uint64_t m_nMost = 0;
    const int m_nFile;
};

#endif  // LOCALSTORAGE_TOOL_BASE_OPENFILE_H
