// The index of one record directory: its repair from the tree (R1 to R4 of IndexFiles.h).

#include <utility>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/Index.h"
#include "IndexMgr/IndexLog.h"
#include "IndexMgr/RepairPlan.h"

// False when the index could not be rebuilt.
bool CIndex::RepairIndex() {
    LogRepair(__LINE__, "enter");
    const std::string strFolder = GetRecordFolder();
    repairPlan plan;
    std::string strUnreadable;
    if (!MakeRepairPlan(strFolder, plan, strUnreadable)) {  // R1
        WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
                 "[wtb][CIndex::RepairIndex] directory cannot be read, strPath [%s], "
                 "m_strPrevRecPath [%s]",
                 strUnreadable.c_str(), m_strPrevRecPath.c_str());
        return false;
    }
    OSL_DeleteFile((strFolder + "/" + INDEX_FILE_LEVEL1).c_str());  // R2
    const bool bRemoved = RemoveFindings(plan);                     // R3
    if (plan.objTree.IsEmpty()) {
        LogNothingFound(plan);
        return bRemoved && BeginAnew(strFolder);
    }
    TakeTree(std::move(plan.objTree), 0);
    {
        OSL_Guard guard(m_mutexIndex);
        m_bMarker = true;  // perhaps; a complete flush removes it
    }
    WriteIndexToFile();  // R4; what cannot be written stays in memory and is used
    LogRepair(__LINE__, "leave");
    return true;
}

// A readable record folder without any recording counts as a new one: it must not hide the
// recordings of every other disk by switching the process to another record folder.
bool CIndex::BeginAnew(const std::string& strFolder) {
    if (!DeleteDirectory(strFolder)) return false;
    m_bRead = true;
    LogRepair(__LINE__, "leave");
    return true;
}

void CIndex::LogRepair(int nLine, const char* pWhat) const {
    WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, nLine,
             "[wtb][CIndex::RepairIndex] %s, m_strPrevRecPath [%s]", pWhat,
             m_strPrevRecPath.c_str());
}

void CIndex::LogNothingFound(const repairPlan& plan) const {
    if (plan.nDays == 0) {
        LogRepair(__LINE__, "0 == lsDate.size()");
        return;
    }
    WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
             "[wtb][CIndex::RepairIndex] mChannel.size() [%zu], mRecFile.size() [%zu], "
             "m_strPrevRecPath [%s]",
             plan.nDays, plan.nChannels, m_strPrevRecPath.c_str());
}
