#include "IndexMgr/BackupFolder.h"

#include <cerrno>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/RecordDisk.h"
#include "Log/LogText.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/Names.h"
#include "RecordTree/Tidying.h"

namespace {

// Nothing has the path; 0, or why not.
int JudgeTarget(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    if (OSL_GetFileInfo(strPath.c_str(), stInfo) == 0) return EEXIST;
    return OSL_GetSystemLastError() == ENOENT ? 0 : OSL_GetSystemLastError();
}

}  // namespace

CBackupFolder::CBackupFolder(std::shared_ptr<CRecordDisk> pDisk)
    : m_pDisk(std::move(pDisk)),
      m_strRecDir(m_pDisk->Path()),
      m_bClientLayout(m_pDisk->IsClientLayout()) {}

bool CBackupFolder::MoveToRecordFolder() {
    const std::string strFolder = m_strRecDir + "/" + BACKUP_FOLDER;
    if (IsGone(strFolder)) return true;
    ListRecordings();
    if (m_bShortage) return false;
    if (!m_vMoves.empty() && Prepare()) {
        const CIndexChange change(m_pDisk);
        // Without a marker a crash between a file and its entry would hide it.
        if (m_bClientLayout ||
            AskIndexMarker(m_strRecDir + "/" + RECORD_FOLDER) == IndexMarker::Stands) {
            for (const auto& [strFrom, stTo] : m_vMoves) Move(strFrom, stTo);
        }
    }
    for (const auto& [strPath, eLevel] : m_vFolders) RemoveIfIndexOnly(strPath, eLevel);
    LogText(
        "[wtb][CIndexMgr::Initialize] recordings moved from BackupFile to RecordFile [%zu], "
        "BackupFile %s, strRecDir [%s]",
        m_nMoved, IsGone(strFolder) ? "is gone" : "stays and is not looked into",
        m_strRecDir.c_str());
    return true;
}

// What cannot be read stays; a folder that may be a link is the one to begin with.
bool CBackupFolder::List(const std::string& strPath, Names& lsFolder, Names& lsFile) {
    const bool bTop = strPath == m_strRecDir + "/" + BACKUP_FOLDER;
    if (GetSubTargetList(strPath, lsFolder, lsFile,
                         bTop ? OSL_LastLink::IsFollowed : OSL_LastLink::Fails)) {
        return true;
    }
    const int nError = OSL_GetSystemLastError();
    m_bShortage = m_bShortage || OSL_IsShortage(nError);
    LogStays(strPath, nError);
    return false;
}

void CBackupFolder::ListRecordings() {
    dayFolder stFrom = {m_strRecDir, BACKUP_FOLDER, {}, {}},
              stTo = {m_strRecDir, RECORD_FOLDER, {}, {}};
    Names lsDay, lsOther;
    List(stFrom.Tree(), lsDay, lsOther);
    for (const std::string& strDay : lsDay) {
        indexLevel1Body stDay;
        const bool bDay = ConvertStrDateToIndexLevel1Body(strDay, stDay);
        if (!(m_bClientLayout ? IsScannedDateDir(strDay) : bDay)) continue;
        stFrom.strDay = stTo.strDay = strDay;
        stFrom.stDate = stTo.stDate = stDay.stDate;
        Names lsChannel;
        List(stFrom.Path(), lsChannel, lsOther);
        for (const std::string& strChannel : lsChannel) {
            const std::string strFrom = CChannelFolder(stFrom, strChannel).Path();
            const CChannelFolder folder(stTo, strChannel);
            Names lsFile, lsFolder;
            List(strFrom, lsFolder, lsFile);
            for (const std::string& strName : lsFile) AddRecording(folder, strFrom, strName);
            m_vFolders.emplace_back(strFrom, TreeLevel::Channel);
        }
        m_vFolders.emplace_back(stFrom.Path(), TreeLevel::Day);
    }
    m_vFolders.emplace_back(stFrom.Tree(), TreeLevel::RecordFolder);
}

void CBackupFolder::AddRecording(const CChannelFolder& folder, const std::string& strFrom,
                                 const std::string& strName) {
    indexLevel3Body stFile;
    const bool bRecording = m_bClientLayout ? IsScannedFile(strName, RECORDING_EXTENSION)
                                            : ConvertStrRecFileToIndexLevel3Body(strName, stFile);
    if (!bRecording) return;
    const std::string strPath = strFrom + "/" + strName;
    recordPath stTo = m_bClientLayout ? folder.File(strName) : folder.Recording(stFile);
    if (!m_bClientLayout && !stTo.stEntry) return;  // no index holds the channel
    if (const int nError = JudgeTarget(stTo.strPath)) return LogStays(strPath, nError);
    m_vMoves.emplace_back(strPath, std::move(stTo));
}

// The old index does not outlive its recordings, and there is a folder for the marker.
bool CBackupFolder::Prepare() const {
    const int nError = DisownIndexFiles(m_strRecDir + "/" + BACKUP_FOLDER);
    if (nError != 0) LogStays(m_strRecDir + "/" + BACKUP_FOLDER, nError);
    return nError == 0 && MakeFullPath((m_strRecDir + "/" + RECORD_FOLDER + "/").c_str());
}

void CBackupFolder::Move(const std::string& strFrom, const recordPath& stTo) {
    if (!MakeFullPath(stTo.strPath.c_str()) ||
        OSL_RenameFile(strFrom.c_str(), stTo.strPath.c_str()) != 0) {
        return LogStays(strFrom, OSL_GetSystemLastError());
    }
    m_pDisk->WriteIndex(stTo, CIndex::INDEX_TYPE_ADD);
    ++m_nMoved;
}

void CBackupFolder::LogStays(const std::string& strPath, int nError) const {
    char szError[128];
    LogText("[wtb][CIndexMgr::Initialize] stays in BackupFile, strPath [%s], error [%s]",
            strPath.c_str(), OSL_ErrorText(nError, szError, sizeof(szError)));
}
