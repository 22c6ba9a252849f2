// The index of one record directory: its repair from the tree (R1 to R4 of IndexFiles.h).

#include <utility>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/Index.h"
#include "Log/LogError.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/RepairPlan.h"

// Whatever the tree gives is used. Where some of it cannot be read, or where the next start would
// trust the old files, the index is doubtful: the repair removes nothing, and the marker stays.
CIndex::Step CIndex::RepairIndex(Attempt eAttempt) {
    LogRepair("enter");
    const std::string strFolder = GetRecordFolder();
    repairPlan plan;
    if (!MakeRepairPlan(strFolder, plan) || !plan.vUnreadable.empty()) {  // R1
        const Step eStep = JudgeUnreadable(plan, eAttempt);
        if (eStep != Step::Done) return eStep;
    }
    const bool bWhole = plan.vUnreadable.empty();
    const bool bDisowned = bWhole ? DisownIndex(strFolder) : RenewMarker();  // R2
    if (!bDisowned && eAttempt == Attempt::First) return Step::Failed;
    m_bDoubtful = !bWhole || !bDisowned;
    if (bWhole && plan.objTree.IsEmpty()) return BeginAnew(strFolder, plan);
    if (const auto fault = m_bDoubtful ? std::nullopt : RemoveFindings(plan)) {  // R3
        LogError("CIndex::RepairIndex", "does not belong and cannot be removed", fault->strPath,
                 fault->nError);
    }
    for (const std::string& strPath : plan.vCrowded) {
        LogCrowded("RepairIndex", strFolder + "/" + strPath);
    }
    TakeTree(std::move(plan.objTree), 0);
    WriteIndexToFile();  // R4; what cannot be written stays in memory and is used
    LogRepair("leave");
    return Step::Done;
}

// Done when the rest of the tree is to be used without what cannot be read.
CIndex::Step CIndex::JudgeUnreadable(const repairPlan& plan, Attempt eAttempt) {
    Step eStep = Step::Done;
    for (const treeFault& fault : plan.vUnreadable) {
        if (eStep != Step::Shortage) eStep = Fail("cannot be read", fault.strPath, fault.nError);
        LogText(
            "[wtb][CIndex::RepairIndex] directory cannot be read, strPath [%s], "
            "m_strPrevRecPath [%s]",
            fault.strPath.c_str(), m_strPrevRecPath.c_str());
    }
    const bool bTop = plan.vUnreadable.front().strPath == GetRecordFolder();
    return eStep == Step::Failed && !bTop && eAttempt == Attempt::Last ? Step::Done : eStep;
}

// R2. False when an old index stays that the next start would trust, whatever had been changed by
// then.
bool CIndex::DisownIndex(const std::string& strFolder) const {
    const int nError = DisownIndexFiles(strFolder);
    char szError[128];
    if (nError != 0) {
        LogText(
            "[wtb][CIndex::RepairIndex] index01.bin delete fail, strIndexLevel1Path [%s/%s], "
            "error [%s]",
            strFolder.c_str(), INDEX_FILE_LEVEL1, OSL_ErrorText(nError, szError, sizeof(szError)));
    }
    return nError == 0;
}

// A readable record folder without any recording counts as a new one, whether or not it can be
// removed itself: it must not hide the recordings of every other disk by switching the process to
// another record folder.
CIndex::Step CIndex::BeginAnew(const std::string& strFolder, const repairPlan& plan) {
    LogNothingFound(plan);
    if (const auto fault = RemoveFindings(plan)) {  // R3
        return Fail("cannot be removed", fault->strPath, fault->nError);
    }
    DeleteDirectory(strFolder, OSL_LastLink::IsFollowed);
    m_bRead = true;
    LogRepair("leave");
    return Step::Done;
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
