#include "Log/LogFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "FileSystem/FileSystem.h"

namespace {

constexpr char DEFAULT_DIR[] = "/share/LocalStorage/";
constexpr std::uint32_t DEFAULT_SIZE = 52428800;
constexpr std::size_t MAX_DIR_LENGTH = 256;

/// The longest name, with its NUL: "LocalStorage_4294967295_W.log".
constexpr std::size_t MAX_NAME_SIZE = 30;
/// With two files that take turns: "LocalStorage_2_W.log".
constexpr std::size_t MAX_CYCLE_NAME_SIZE = 21;

bool HasRoomForName(const char* pDir, bool bCycle) {
    const std::size_t nName = bCycle ? MAX_CYCLE_NAME_SIZE : MAX_NAME_SIZE;
    return std::strlen(pDir) + nName <= LOCALSTORAGE_PATH_SIZE;
}

/// Turns a directory as the host gave it into one that ends in "/"; false when that cannot be.
bool NormaliseDir(const char* pDir, char (&szDir)[LOCALSTORAGE_PATH_SIZE]) {
    const std::size_t nLen = std::strlen(pDir);
    if (nLen == 0 || nLen > MAX_DIR_LENGTH) return false;
    std::memcpy(szDir, pDir, nLen + 1);
    ReplaceBlackSlash(szDir);
    return true;
}

/// How many of the lines fit into so many bytes; `nBytes` receives how many they take.
std::size_t CountThatFit(const LogLines& stLines, std::int64_t nRoom, std::size_t& nBytes) {
    std::size_t nCount = 0;
    nBytes = 0;
    for (const std::uint16_t nLen : stLines.m_vecLen) {
        if (static_cast<std::int64_t>(nBytes) + nLen > nRoom) break;
        nBytes += nLen;
        ++nCount;
    }
    return nCount;
}

}  // namespace

int CLogFile::StartWriteFile(const char* pDir, std::uint32_t nSize, bool bCycle) {
    char szDir[LOCALSTORAGE_PATH_SIZE];
    if (!NormaliseDir(pDir ? pDir : DEFAULT_DIR, szDir)) return LOG_ERR_PARAM;
    if (!HasRoomForName(szDir, bCycle)) return LOG_ERR_PARAM;
    CloseFile();
    std::memcpy(m_szLogDir, szDir, sizeof(szDir));
    m_nMaxFileSize = nSize != 0 ? nSize : DEFAULT_SIZE;
    m_bCycle = bCycle;
    if (bCycle) m_nFileIndex &= 1;  // it may have been numbered on
    m_bOpenFailed = false;
    if (pDir) MakeFullPath(m_szLogDir);  // when it cannot be made, opening the file will say so
    SetCurFileIndex();
    m_bOn = true;
    return LOG_OK;
}

void CLogFile::StopWriteFile() {
    m_bOn = false;
    CloseFile();
}

int CLogFile::InputDataToFile(LogLines stLines) {
    if (!m_bOn) return LOG_OK;
    int nResult = LOG_OK;
    while (!stLines.m_vecLen.empty()) {
        std::int64_t nRoom = 0;
        if (!PrepareFile(stLines.m_vecLen[0], nRoom)) {
            nResult = LOG_ERR_OPEN_FILE;
            stLines = stLines.Behind(1);
            continue;
        }
        std::size_t nBytes = 0, nWritten = 0;
        std::size_t nCount = CountThatFit(stLines, nRoom, nBytes);
        if (OSL_WriteFile(m_hFile, stLines.m_pText, nBytes, &nWritten) != 0) {
            // The line that broke off is lost; those behind it are tried as if it had been alone.
            nCount = CountThatFit(stLines, static_cast<std::int64_t>(nWritten), nBytes) + 1;
        }
        stLines = stLines.Behind(nCount);
    }
    return nResult;
}

/// Sees to an open file that takes a line of this length. `nRoom` receives how many bytes it takes
/// in all: at least that line, even where a new file is smaller.
bool CLogFile::PrepareFile(std::size_t nFirstLine, std::int64_t& nRoom) {
    std::int64_t nSize = 0;
    const auto nLen = static_cast<std::int64_t>(nFirstLine);
    if (m_hFile != OSL_INVALID_FILE) {
        OSL_FileSeek(m_hFile, 0, 2, &nSize);
        if (nSize + nLen > m_nMaxFileSize) Rotate();
    }
    if (m_hFile == OSL_INVALID_FILE) {
        if (!OpenFile()) return false;
        OSL_FileSeek(m_hFile, 0, 2, &nSize);
    }
    nRoom = std::max(m_nMaxFileSize - nSize, nLen);
    return true;
}

bool CLogFile::OpenFile() {
    // First, so that a full disk has room for the new one.
    OSL_DeleteFile(MakeFileName(false).szPath);
    const pathNode stName = MakeFileName(true);
    MakeFullPath(m_szLogDir);
    m_hFile = OSL_OpenFile(stName.szPath, OSL_OPEN_LOG, OSL_FILE_SHARED);
    const bool bFailed = m_hFile == OSL_INVALID_FILE;
    if (bFailed && !m_bOpenFailed) {
        OSL_OutputDebug("LogService OpenFile[%s] failed, err [%d]", stName.szPath,
                        OSL_GetSystemLastError());
    }
    m_bOpenFailed = bFailed;
    return !bFailed;
}

void CLogFile::Rotate() {
    CloseFile();
    OSL_RenameFile(MakeFileName(true).szPath, MakeFileName(false).szPath);
    m_nFileIndex = m_bCycle ? (m_nFileIndex + 1) & 1 : m_nFileIndex + 1;
}

void CLogFile::CloseFile() {
    if (m_hFile != OSL_INVALID_FILE) OSL_CloseFile(m_hFile);
    m_hFile = OSL_INVALID_FILE;
}

pathNode CLogFile::MakeFileName(bool bWriting) const {
    pathNode stName;
    const auto nDir = static_cast<int>(sizeof(m_szLogDir) - MAX_CYCLE_NAME_SIZE);
    std::snprintf(stName.szPath, sizeof(stName.szPath), "%.*sLocalStorage_%u%s.log", nDir,
                  m_szLogDir, m_nFileIndex + 1, bWriting ? "_W" : "");
    return stName;
}

void CLogFile::SetCurFileIndex() {
    const std::uint32_t nBefore = m_nFileIndex;
    for (m_nFileIndex = 0; m_nFileIndex < 2; ++m_nFileIndex) {
        OSL_FINFO_S stInfo;
        if (OSL_GetFileInfo(MakeFileName(true).szPath, stInfo) != 0) continue;
        if (stInfo.wFileType != OSL_TYPE_DIR) return;
    }
    m_nFileIndex = nBefore;
}
