// The index of one record directory: its repair from the tree (R1 to R4 of IndexFiles.h).

#include <cerrno>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/Index.h"
#include "Log/LogText.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/RepairPlan.h"

// False when the index could not be rebuilt.
bool CIndex::RepairIndex() {
    LogRepair("enter");
    const std::string strFolder = GetRecordFolder();
    repairPlan plan;
    std::string strUnreadable;
    if (!MakeRepairPlan(strFolder, plan, strUnreadable)) {  // R1
        LogText(
            "[wtb][CIndex::RepairIndex] directory cannot be read, strPath [%s], "
            "m_strPrevRecPath [%s]",
            strUnreadable.c_str(), m_strPrevRecPath.c_str());
        return false;
    }
    if (!DisownIndex(strFolder)) return false;   // R2
    const bool bRemoved = RemoveFindings(plan);  // R3
    for (const std::string& strPath : plan.vCrowded)
        LogCrowded("RepairIndex", strFolder + "/" + strPath);
    if (plan.objTree.IsEmpty()) {
        LogNothingFound(plan);
        return bRemoved && BeginAnew(strFolder);
    }
    TakeTree(std::move(plan.objTree), 0);
    WriteIndexToFile();  // R4; what cannot be written stays in memory and is used
    LogRepair("leave");
    return true;
}

// R2. The marker says the same as the absence of index01.bin, so where it stands (perhaps on a disk
// that is read-only by now) a file that cannot be removed does no harm. False when an old index
// stays that the next start would trust, whatever had been changed by then.
bool CIndex::DisownIndex(const std::string& strFolder) {
    const std::string strPath = strFolder + "/" + INDEX_FILE_LEVEL1;
    if (OSL_DeleteFile(strPath.c_str()) == 0 || OSL_GetSystemLastError() == ENOENT) return true;
    const int nError = OSL_GetSystemLastError();
    OSL_FINFO_S stInfo;
    const bool bThere = GetFolderAttribute(strFolder, INDEX_FILE_LEVEL1, stInfo);
    // A read-only disk refuses to remove even what is not there.
    if (!bThere && OSL_GetSystemLastError() == ENOENT) return true;
    if (bThere && stInfo.wFileType == OSL_TYPE_DIR) return true;  // no index, a foreign folder
    char szError[128];
    LogText(
        "[wtb][CIndex::RepairIndex] index01.bin delete fail, strIndexLevel1Path [%s], "
        "error [%s]",
        strPath.c_str(), OSL_ErrorText(nError, szError, sizeof(szError)));
    return AskIndexMarker(strFolder) == IndexMarker::Stands;
}

// A readable record folder without any recording counts as a new one: it must not hide the
// recordings of every other disk by switching the process to another record folder.
bool CIndex::BeginAnew(const std::string& strFolder) {
    if (!DeleteDirectory(strFolder)) return false;
    m_bRead = true;
    LogRepair("leave");
    return true;
}

void CIndex::LogRepair(const char* pWhat) const {
    LogText("[wtb][CIndex::RepairIndex] %s, m_strPrevRecPath [%s]", pWhat,
            m_strPrevRecPath.c_str());
}

void CIndex::LogCrowded(const char* pMethod, const std::string& strPath) {
    LogText(
        "[wtb][CIndex::%s] too many recordings begin together, it stays out of the index, "
        "strRecFilePath [%s]",
        pMethod, strPath.c_str());
}

void CIndex::LogNothingFound(const repairPlan& plan) const {
    if (plan.nDays == 0) {
        LogRepair("0 == lsDate.size()");
        return;
    }
    LogText(
        "[wtb][CIndex::RepairIndex] mChannel.size() [%zu], mRecFile.size() [%zu], "
        "m_strPrevRecPath [%s]",
        plan.nDays, plan.nChannels, m_strPrevRecPath.c_str());
}
