#include "IndexMgr/RecordDisk.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "Log/LogText.h"
#include "RecordTree/ReservedSpace.h"

CRecordDisk::CRecordDisk(const std::string& strPath, bool bClientLayout, bool bRequireMount)
    : m_bClientLayout(bClientLayout),
      m_objDir(strPath, bRequireMount),
      m_objRecordings(strPath, STORE_FILE_RECORD, &m_objDir),
      m_objPictures(strPath, STORE_FILE_IMAGE, &m_objDir) {}

CRecordDisk::Meeting CRecordDisk::Meet(const std::vector<std::shared_ptr<CRecordDisk>>& vOthers,
                                       std::shared_ptr<CRecordDisk>& pSame) {
    m_objDir.Make();
    const auto it = std::find_if(vOthers.begin(), vOthers.end(), [this](const auto& pOther) {
        return pOther->m_objDir.IsSame(m_objDir);
    });
    if (it != vOthers.end()) {
        pSame = *it;
        m_eMeeting = Meeting::IsOtherName;
    } else {
        const bool bReady = m_objDir.IsPresent() || m_objDir.AwaitsMount();
        m_eMeeting = bReady ? Meeting::Ready : Meeting::IsNotThere;
    }
    return m_eMeeting;
}

int CRecordDisk::Open(const char* pFolder, bool bAllTheSame) {
    if (m_eMeeting != Meeting::Ready) return 1;
    // What was read below another folder is not flushed below this one.
    m_pIndex = nullptr;
    m_vIndexes.clear();
    if (m_objDir.AwaitsMount()) return 0;
    return OpenIndex(pFolder, bAllTheSame);
}

int CRecordDisk::OpenIndex(const char* pFolder, bool bAllTheSame) {
    OSL_FINFO_S stInfo;
    if (GetFolderAttribute(Path(), pFolder, stInfo) && stInfo.wFileType == OSL_TYPE_LINK) {
        LogText("[wtb][CIndexMgr::Initialize] the record folder is a link, strPath [%s/%s]",
                Path().c_str(), pFolder);
    }
    m_bOpen = false;
    CIndex* pIndex = nullptr;
    if (!m_bClientLayout) {
        pIndex = m_vIndexes.emplace_back(std::make_unique<CIndex>(&m_objDir)).get();
        const int nResult = pIndex->Initialize(
            Path(), pFolder,
            bAllTheSame ? CIndex::BeyondRepair::IsReadAllTheSame : CIndex::BeyondRepair::IsRefused,
            shared_from_this());
        m_strFault = pIndex->Fault();
        if (nResult != 0) {
            LogText("[wtb][CIndexMgr::Initialize] index fail, strPath [%s], reason [%s]",
                    Path().c_str(), m_strFault.c_str());
            m_vIndexes.pop_back();
            return nResult;
        }
    }
    m_pIndex = pIndex;
    m_bOpen = m_pFolder.load() == pFolder;
    if (m_bStopped && pIndex) pIndex->EndWriter();
    return 0;
}

COldestDays& CRecordDisk::GetDays(StoreFileType eKind) {
    if (CIndex* const pIndex = m_pIndex) return *pIndex;
    return eKind == STORE_FILE_IMAGE ? m_objPictures : m_objRecordings;
}

bool CRecordDisk::ForgetMissingFile(const recordPath& stPath) {
    if (!IsGone(stPath.strPath) || !IsPresent()) return false;
    WriteIndex(stPath, CIndex::INDEX_TYPE_DELETE);
    return true;
}

void CRecordDisk::WriteIndex(const recordPath& stPath, CIndex::IndexType eIndexType) {
    CIndex* const pIndex = Index();
    if (!pIndex ||
        (eIndexType != CIndex::INDEX_TYPE_ADD && eIndexType != CIndex::INDEX_TYPE_DELETE)) {
        return;
    }
    if (!stPath.stEntry) {
        LogText("[wtb][CIndexMgr::WriteIndex] no index holds it, strRecFilePath [%s]",
                stPath.strPath.c_str());
        return;
    }
    pIndex->WriteIndex(stPath.stEntry->stDay, stPath.stEntry->stChannel, stPath.stEntry->stFile,
                       eIndexType);
}

void CRecordDisk::BeginUse() {
    if (!IsOpen()) return;
    const std::optional<std::time_t> tCrashed = m_objDir.BeginUse();
    if (IsLate()) {
        LogText("[wtb][CIndexMgr::Initialize] the disk answers and is used, strRecDir [%s]",
                Path().c_str());
    }
    if (!tCrashed) return;
    const std::size_t nFiles = GiveBackReservedSpace(Path() + "/" + m_pFolder.load(), *tCrashed);
    LogText(
        "[wtb][CIndexMgr::Initialize] the last run did not end, files that gave reserved space "
        "back [%zu], strRecDir [%s]",
        nFiles, Path().c_str());
}

// The index belongs to the disk's thread until it is open; what opens later finds the mark.
void CRecordDisk::BeginEnd() {
    m_bStopped = true;
}

bool CRecordDisk::EndCalls(std::int64_t nPatience) {
    const bool bEnded = m_objCalls.AwaitIdle(DiskLane::Use, nPatience) &&
                        m_objCalls.AwaitIdle(DiskLane::CleanUp, nPatience);
    if (CIndex* const pIndex = Index()) pIndex->EndWriter();
    return bEnded || LeaveCalls();
}

bool CRecordDisk::EndIndex(std::int64_t nPatience) {
    const auto release = [=](const auto& pIndex) { return pIndex->Release(nPatience); };
    return std::all_of(m_vIndexes.begin(), m_vIndexes.end(), release) || LeaveCalls();
}

bool CRecordDisk::EndUse(std::int64_t nPatience) {
    if (!m_objCalls.IsRunning()) return true;
    const bool bEnded = UnlockOnThread(nPatience);
    m_objCalls.Stop();
    return bEnded && m_objCalls.Wait(nPatience) ? true : LeaveCalls();
}

bool CRecordDisk::UnlockOnThread(std::int64_t nPatience) try {
    const auto ended = m_objCalls.Run(
        DiskLane::Use,
        [p = shared_from_this()] {
            p->m_objDir.EndUse();
            return true;
        },
        nPatience);
    return ended.has_value();
} catch (const std::exception&) {  // then here
    m_objDir.EndUse();
    return true;
}

bool CRecordDisk::LeaveCalls() {
    m_objCalls.Stop();
    m_objCalls.Wait(NO_PATIENCE);
    return false;
}

void CRecordDisk::Abandon() {
    m_objCalls.Stop();
    m_objCalls.Wait(OSL_FOREVER);
    for (const auto& pIndex : m_vIndexes) pIndex->Abandon();
}

CIndexChange::CIndexChange(std::shared_ptr<CRecordDisk> pDisk)
    : m_pDisk(std::move(pDisk)), m_pIndex(m_pDisk ? m_pDisk->Index() : nullptr) {
    if (m_pIndex) m_pIndex->BeginChange();
}

CIndexChange::~CIndexChange() {
    if (m_pIndex && !m_bLeft && std::uncaught_exceptions() == m_nExceptions) m_pIndex->EndChange();
}

void CIndexChange::MakeMarker() {
    if (m_pIndex) m_pIndex->MakeMarker();
}
