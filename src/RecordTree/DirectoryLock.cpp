#include "RecordTree/DirectoryLock.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <random>
#include <string_view>
#include <utility>

#include "Osl/Osl.h"
#include "RecordTree/Names.h"

namespace {

constexpr std::string_view IDENTITY = "identity ";
constexpr std::string_view IN_USE = "in use since ";

std::string NotePath(const std::string& strRecDir) {
    return strRecDir + "/" + DIRECTORY_FILE;
}

// A random UUID (version 4).
std::string NewIdentity() {
    std::random_device random;
    const unsigned n1 = random(), n2 = random(), n3 = random(), n4 = random();
    char szText[40];
    std::snprintf(szText, sizeof(szText), "%08x-%04x-4%03x-%04x-%04x%08x", n1, n2 >> 16, n2 & 0xFFF,
                  (n3 >> 16 & 0x3FFF) | 0x8000, n3 & 0xFFFF, n4);
    return szText;
}

// The rest of the line that begins so; nothing when there is none, or it has no end.
std::optional<std::string_view> FindLine(std::string_view strText, std::string_view strBegin) {
    while (!strText.empty()) {
        const std::size_t nEnd = strText.find('\n');
        if (nEnd == std::string_view::npos) break;
        if (strText.starts_with(strBegin)) {
            return strText.substr(strBegin.size(), nEnd - strBegin.size());
        }
        strText.remove_prefix(nEnd + 1);
    }
    return std::nullopt;
}

directoryNote ReadNote(OSL_FileHandle hFile) {
    char szText[512];
    std::size_t nRead = 0;
    directoryNote st;
    if (OSL_FileSeek(hFile, 0, 0, nullptr) != 0) return st;
    if (OSL_ReadFile(hFile, szText, sizeof(szText), &nRead) != 0) return st;
    const std::string_view strText(szText, nRead);
    st.strIdentity = FindLine(strText, IDENTITY).value_or("");
    const std::string_view strTime = FindLine(strText, IN_USE).value_or("");
    std::int64_t nTime = 0;
    const auto [pEnd, eError] =
        std::from_chars(strTime.data(), strTime.data() + strTime.size(), nTime);
    if (eError == std::errc() && pEnd != strTime.data()) st.tInUse = nTime;
    return st;
}

// In place, since the lock is on the file; so short a text is written as a whole or not at all.
bool WriteNote(const std::string& strPath, const directoryNote& st) {
    std::string strText = std::string(IDENTITY) + st.strIdentity + "\n";
    if (st.tInUse) strText += std::string(IN_USE) + std::to_string(*st.tInUse) + "\n";
    const OSL_FileHandle hFile = OSL_OpenFile(strPath.c_str(), OSL_OPEN_WRITE, 0);
    if (hFile == OSL_INVALID_FILE) return false;
    bool bDone = OSL_WriteFile(hFile, strText.data(), strText.size(), nullptr) == 0 &&
                 OSL_TruncateFile(hFile, static_cast<std::int64_t>(strText.size())) == 0 &&
                 OSL_SyncData(hFile) == 0;
    bDone &= OSL_CloseFile(hFile) == 0;
    return bDone;
}

bool MakeFile(const std::string& strPath) {
    const OSL_FileHandle hFile =
        OSL_OpenFile(strPath.c_str(), OSL_OPEN_WRITE | OSL_OPEN_CREATE, OSL_FILE_SHARED);
    if (hFile != OSL_INVALID_FILE) OSL_CloseFile(hFile);
    return hFile != OSL_INVALID_FILE;
}

// Opens `hLock` where it is not open, and locks it. 0, or the system's error number; then it is
// closed.
int Lock(OSL_FileHandle& hLock, const std::string& strPath, unsigned nFlags) {
    if (hLock == OSL_INVALID_FILE) hLock = OSL_OpenFile(strPath.c_str(), nFlags, 0);
    if (hLock != OSL_INVALID_FILE && OSL_LockFile(hLock) == 0) return 0;
    const int nError = OSL_GetSystemLastError();
    if (hLock != OSL_INVALID_FILE) OSL_CloseFile(std::exchange(hLock, OSL_INVALID_FILE));
    return nError;
}

// NFS locks only what is open for writing; elsewhere that would keep a disk from being remounted
// read-only.
int LockNote(OSL_FileHandle& hLock, const std::string& strPath) {
    const int nError = Lock(hLock, strPath, OSL_OPEN_READ);
    return nError == EBADF ? Lock(hLock, strPath, OSL_OPEN_READ | OSL_OPEN_WRITE) : nError;
}

}  // namespace

directoryNote ReadDirectoryNote(const std::string& strRecDir) {
    const OSL_FileHandle hFile = OSL_OpenFile(NotePath(strRecDir).c_str(), OSL_OPEN_READ, 0);
    if (hFile == OSL_INVALID_FILE) return {};
    directoryNote st = ReadNote(hFile);
    OSL_CloseFile(hFile);
    return st;
}

int CDirectoryLock::Take(const std::string& strRecDir, NoFile eNoFile) {
    const std::string strPath = NotePath(strRecDir);
    const bool bHeld = m_hFile != OSL_INVALID_FILE;
    int nError = LockNote(m_hFile, strPath);
    if (nError == ENOENT && eNoFile == NoFile::IsMade && MakeFile(strPath)) {
        nError = LockNote(m_hFile, strPath);
    }
    if (nError == EWOULDBLOCK) return Refuse(nError);
    const int nDirError = Lock(m_hDir, strRecDir + "/", OSL_OPEN_READ);
    if (nDirError == EWOULDBLOCK) return Refuse(nDirError);
    if (nError == 0 && !bHeld) {
        m_strPath = strPath;
        m_stNote = ReadNote(m_hFile);
        if (m_stNote.strIdentity.empty() && eNoFile == NoFile::IsMade) MakeIdentity();
    }
    return nDirError == 0 ? 0 : nError;
}

void CDirectoryLock::MakeIdentity() {
    m_stNote.strIdentity = NewIdentity();
    if (!WriteNote(m_strPath, m_stNote)) m_stNote.strIdentity.clear();
}

int CDirectoryLock::Refuse(int nError) {
    Release();
    return nError;
}

void CDirectoryLock::Release() {
    for (std::int64_t* const pLock : {&m_hFile, &m_hDir}) {
        if (*pLock != OSL_INVALID_FILE) OSL_UnlockFile(std::exchange(*pLock, OSL_INVALID_FILE));
    }
    m_stNote = {};
}

std::string CDirectoryLock::Inside() const {
    return m_hDir == OSL_INVALID_FILE ? std::string() : OSL_PathOfHandle(m_hDir);
}

bool CDirectoryLock::SetInUse(std::optional<std::time_t> tInUse) {
    if (m_hFile == OSL_INVALID_FILE) return false;
    m_stNote.tInUse = tInUse;
    return WriteNote(m_strPath, m_stNote);
}

bool IsInUse(const std::string& strRecDir) {
    return CDirectoryLock().Take(strRecDir, CDirectoryLock::NoFile::IsLeft) == EWOULDBLOCK;
}
