#include "LocalStorage/FileOpening.h"

#include <cerrno>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/DiskLook.h"
#include "Osl/Osl.h"

namespace {

// How often a folder is made anew that a clean-up takes before the file in it is opened.
constexpr int MAX_FOLDER_TRIES = 10;

}  // namespace

COpenedFile::~COpenedFile() {
    const bool bRemove = IsOpen() && !m_strMade.empty();
    m_objFile.Close();
    if (bRemove) OSL_DeleteFile(m_strMade.c_str());
}

CRecordFile COpenedFile::Take() {
    return std::move(m_objFile);
}

// The marker may need the folder that comes with the first file.
COpenedFile COpenedFile::Open(const fileOrder& stOrder, const WantedFlag& pbWanted) {
    COpenedFile opened;
    if (!*pbWanted || !MakeRecDir(*stOrder.pDisk)) return opened;
    if (stOrder.bIndexed) opened.m_pChange = std::make_unique<CIndexChange>(stOrder.pDisk);
    opened.OpenInFolder(stOrder, pbWanted);
    if (opened.IsOpen() && opened.m_pChange) opened.m_pChange->MakeMarker();
    return opened;
}

void COpenedFile::OpenInFolder(const fileOrder& stOrder, const WantedFlag& pbWanted) {
    const std::string& strPath = stOrder.stPath.strPath;
    const std::string strFolder(stOrder.stPath.Folder());
    if (stOrder.pSync) stOrder.pSync->LeaveReserved(strPath);
    for (int nTry = 0; nTry < MAX_FOLDER_TRIES; ++nTry) {
        const bool bMade = MakeFullPath(strPath.c_str());
        const OSL_FileHandle hFile =
            bMade ? OpenFile(strPath, stOrder.nFlags, pbWanted) : OSL_INVALID_FILE;
        if (hFile != OSL_INVALID_FILE) {
            m_objFile = CRecordFile(
                hFile,
                stOrder.pSync
                    ? stOrder.pSync->Add(stOrder.strCameraID, stOrder.pUser, strPath, hFile)
                    : nullptr,
                stOrder.nReserveStep);
            return;
        }
        m_nError = OSL_GetSystemLastError();
        if (bMade ? OSL_AccessFile(strFolder.c_str(), 0) == 0 : m_nError != ENOENT) return;
    }
}

// An existing file is emptied only while somebody waits for it, and then it is not one that was
// made.
OSL_FileHandle COpenedFile::OpenFile(const std::string& strPath, unsigned nFlags,
                                     const WantedFlag& pbWanted) {
    if (nFlags == OSL_OPEN_CONTINUE) return OSL_OpenFile(strPath.c_str(), nFlags, OSL_FILE_SHARED);
    const OSL_FileHandle hFile = OSL_OpenFile(strPath.c_str(), OSL_OPEN_UNIQUE, OSL_FILE_SHARED);
    if (hFile != OSL_INVALID_FILE) m_strMade = strPath;
    const bool bThere = hFile == OSL_INVALID_FILE && OSL_GetSystemLastError() == EEXIST;
    if (!bThere || nFlags == OSL_OPEN_UNIQUE || !*pbWanted) return hFile;
    return OSL_OpenFile(strPath.c_str(), nFlags, OSL_FILE_SHARED);
}

CFileOpening::CFileOpening(const fileOrder& stOrder)
    : m_pDisk(stOrder.pDisk),
      m_stPath(stOrder.stPath),
      m_opened(m_pDisk->Calls().Post(DiskLane::Use, [stOrder, pbWanted = m_pbWanted] {
          return COpenedFile::Open(stOrder, pbWanted);
      })) {}

bool CFileOpening::Await(std::int64_t nPatience) const {
    return m_pDisk->Calls().Await(DiskLane::Use, m_opened, nPatience);
}

// What is open by now is closed, and removed, on the disk's thread, too; as long as the disk
// answers before whoever gives the file up protects it no more.
CFileOpening::~CFileOpening() {
    *m_pbWanted = false;
    if (!m_opened.valid()) return;
    CDiskCalls& calls = m_pDisk->Calls();
    try {
        auto dropped =
            calls.Post(DiskLane::Use,
                       [pOpened = std::make_shared<std::future<COpenedFile>>(std::move(m_opened))] {
                           return (*pOpened = {}).valid();
                       });
        calls.Await(DiskLane::Use, dropped, SWITCH_PATIENCE);
    } catch (const std::exception&) {  // then here
        return;
    }
}
