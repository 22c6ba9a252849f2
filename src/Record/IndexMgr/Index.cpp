// The index of one record directory: its life and its changes.

#include "IndexMgr/Index.h"

#include <exception>

#include "Log/LogText.h"
#include "RecordTree/Names.h"

namespace {

constexpr std::uint32_t FLUSH_INTERVAL = 180000;  // ms

}  // namespace

CIndex::CIndex(CRecordDir* pRecordDir)
    : m_pRecordDir(pRecordDir),
      m_nDisk(pRecordDir ? pRecordDir->Disk() : 0),
      m_mutexIndex(OSL_LockRank::Index, "m_mutexIndex") {}

CIndex::~CIndex() {
    Abandon();
    if (m_hWriteEvent) OSL_CloseEvent(m_hWriteEvent);
}

int CIndex::Initialize(const std::string& strRecDir, const char* pFolder, BeyondRepair eBeyond,
                       std::shared_ptr<const void> pOwner) {
    if (m_bInit) return 0;
    if (!m_hWriteEvent) m_hWriteEvent = OSL_CreateEvent();
    if (!m_hWriteEvent) {
        LogText("[wtb][CIndex::Initialize] OSL_CreateEvent fail, strPrevPath [%s]",
                strRecDir.c_str());
        return 1;
    }
    m_bInit = true;
    m_strPrevRecPath = strRecDir;
    m_pFolder = pFolder;
    const Step eStep = CheckOrRepair();
    if (eStep == Step::Shortage) return LeaveInitialize(1);
    if (eStep == Step::Failed && eBeyond == BeyondRepair::IsRefused) return LeaveInitialize(2);
    // Deliberate: the messages come after Release and so without the directory's name.
    if (!ReadIndex()) {
        Release();
        LogText("[wtb][CIndex::Initialize] ReadIndex fail, strPrevPath [%s]",
                m_strPrevRecPath.c_str());
        return 1;
    }
    if (!m_writer.Start([this, pOwner = std::move(pOwner)] { WriteFlushes(); })) {
        Release();
        LogText("[wtb][CIndex::Initialize] OSL_Thread_Create fail, strPrevPath [%s]",
                m_strPrevRecPath.c_str());
        return 1;
    }
    return 0;
}

int CIndex::LeaveInitialize(int nResult) {
    Release();
    return nResult;
}

// A disk may need a moment: what is wrong with it is believed the second time.
CIndex::Step CIndex::CheckOrRepair() {
    constexpr std::uint32_t PAUSE = 1000;  // ms
    Step eStep = CheckIndex();
    if (eStep == Step::Failed) eStep = RepairIndex(Attempt::First);
    if (eStep != Step::Failed) return eStep;
    OSL_Sleep(PAUSE);
    eStep = CheckIndex();
    return eStep == Step::Failed ? RepairIndex(Attempt::Last) : eStep;
}

CIndex::Step CIndex::Fail(const char* pWhat, const std::string& strPath, int nError) {
    char szError[128];
    m_strFault = strPath + " " + pWhat + ": " + OSL_ErrorText(nError, szError, sizeof(szError));
    return OSL_IsShortage(nError) ? Step::Shortage : Step::Failed;
}

bool CIndex::Release(std::int64_t nPatience) {
    if (!m_bInit) return true;
    EndWriter();
    if (!m_writer.Wait(nPatience)) return false;
    OSL_CloseEvent(m_hWriteEvent);
    m_hWriteEvent = nullptr;
    ClearIndex();
    m_strPrevRecPath = "";
    m_bInit = false;
    return true;
}

void CIndex::Abandon() {
    ClearIndex();  // an empty index is not flushed
    Release();
}

void CIndex::ClearIndex() {
    OSL_Guard guard(m_mutexIndex);
    m_objTree = CIndexTree();
    m_nFlushed = 0;
    m_bMarker = false;
    m_bRead = false;
}

// Counted first: from then on no flush takes the marker away.
void CIndex::BeginChange() {
    CountChange();
    MakeMarker();
}

void CIndex::EndChange() {
    OSL_Guard guard(m_mutexIndex);
    --m_nChanging;
}

void CIndex::WriteIndex(const indexLevel1Body& stLevel1, const indexLevel2Body& stLevel2,
                        const indexLevel3Body& stLevel3, IndexType eIndexType) {
    if (!m_bInit) {
        LogText("[wtb][CIndex::WriteIndex] not initialized, m_strPrevRecPath [%s]",
                m_strPrevRecPath.c_str());
        return;
    }
    if (eIndexType != INDEX_TYPE_ADD && eIndexType != INDEX_TYPE_DELETE) return;
    if (CountChange() == 1) MakeMarker();
    {
        OSL_Guard guard(m_mutexIndex);
        if (eIndexType == INDEX_TYPE_ADD) {
            AddEntry(stLevel1, stLevel2, stLevel3);
        } else {
            m_objTree.Remove(stLevel1, stLevel2, stLevel3);
            ForgetMarkerWithFolder();
        }
    }
    EndChange();
}

int CIndex::CountChange() {
    OSL_Guard guard(m_mutexIndex);
    return ++m_nChanging;
}

void CIndex::AddEntry(const indexLevel1Body& stLevel1, const indexLevel2Body& stLevel2,
                      const indexLevel3Body& stLevel3) {
    indexLevel3Body stThere = stLevel3;
    if (m_objTree.Add(stLevel1, stLevel2, stLevel3) ||
        m_objTree.Find(stLevel1.stDate, GetDirName(stLevel2), stThere)) {
        return;
    }
    const dayFolder stDay = {m_strPrevRecPath, m_pFolder, GetDirName(stLevel1.stDate),
                             stLevel1.stDate};
    LogCrowded("WriteIndex", CChannelFolder(stDay, stLevel2).Recording(stLevel3).strPath);
}

std::size_t CIndex::CountFiles() {
    OSL_Guard guard(m_mutexIndex);
    return m_objTree.CountFiles();
}

// The writer thread: flushes every three minutes, and once more when it is told to stop.
void CIndex::WriteFlushes() {
    while (true) {
        const std::uint32_t nResult = OSL_WaitForSingleObject(m_hWriteEvent, FLUSH_INTERVAL);
        if (nResult != OSL_WAIT_TIMEOUT && nResult != OSL_WAIT_OBJECT) return;
        try {
            WriteIndexToFile();
        } catch (const std::exception&) {  // the marker stays
            LogText("[wtb][CIndex::WriteIndexToFile] out of memory");
        }
        if (nResult == OSL_WAIT_OBJECT) return;
    }
}
