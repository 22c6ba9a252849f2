// The index of one record directory: its marker and its flushes (C1 and F1 to F4 of IndexFiles.h).

#include <cerrno>
#include <new>

#include "IndexMgr/Index.h"
#include "Log/LogText.h"
#include "RecordTree/IndexMarker.h"

namespace {

const char* WriteFaultText(IndexFileError eError) {
    switch (eError) {
        case IndexFileError::Open:
            return "open fail";
        case IndexFileError::Head:
            return "write head fail";
        case IndexFileError::Body:
            return "write body fail";
        case IndexFileError::Sync:
            return "sync fail";
        default:
            return "no memory";
    }
}

void LogWriteFault(const indexFileFault& fault) {
    LogText("[wtb][CIndex::WriteIndexToFile] index0%d.bin %s, strIndexLevel%dPath [%s]",
            fault.nLevel, WriteFaultText(fault.eError), fault.nLevel, fault.strPath.c_str());
}

void LogMarker(const char* pWhat, const std::string& strFolder) {
    char szError[128];
    LogText("[wtb][CIndex::WriteIndex] index.dirty %s fail, strMarkerPath [%s/%s], error [%s]",
            pWhat, strFolder.c_str(), INDEX_DIRTY_MARKER,
            OSL_ErrorText(OSL_GetSystemLastError(), szError, sizeof(szError)));
}

}  // namespace

// C1. A marker that cannot be made (full disk) stops no recording; it is tried again with every
// change. So is one on a disk that was away, from which another engine may have removed it.
void CIndex::MakeMarker() {
    OSL_Guard guard(m_mtxMarker);
    HaveMarker();
}

void CIndex::HaveMarker() {
    if ((m_bMarker && !WasAway()) || !IsPresent()) return;
    m_bMarker = MakeIndexMarker(GetRecordFolder());
    // Without a record folder there is no index either, and the next start reads the tree.
    if (m_bMarker || OSL_GetSystemLastError() == ENOENT) {
        m_bMarkerFailed = false;
        return;
    }
    if (!m_bMarkerFailed) LogMarker("open", GetRecordFolder());
    m_bMarkerFailed = true;
}

// F4.
void CIndex::RemoveMarker() {
    m_bMarker = !RemoveIndexMarker(GetRecordFolder());
    if (m_bMarker) LogMarker("delete", GetRecordFolder());
}

// The record folder goes with its last recording, and the marker with it: the next change makes
// both again.
void CIndex::ForgetMarkerWithFolder() {
    if (m_objTree.IsEmpty()) m_bMarker = false;
}

void CIndex::WriteIndexToFile() {
    if (!IsPresent()) return;
    const std::string strFolder = GetRecordFolder();
    indexSnapshot snapshot;
    if (!TakeSnapshot(snapshot)) return;
    if (!snapshot.IsEmpty() && !RenewMarker()) return FinishFlush(snapshot, false);
    indexFileFault fault;
    bool bWritten = false;
    try {
        bWritten = WriteIndexFiles(strFolder, snapshot, fault);
    } catch (const std::bad_alloc&) {
        fault.eError = IndexFileError::Memory;
    }
    if (!bWritten) LogWriteFault(fault);
    FinishFlush(snapshot, bWritten);
}

// Whatever was believed about it: without a marker no file of the set may be written to.
bool CIndex::RenewMarker() {
    OSL_Guard guard(m_mtxMarker);
    m_bMarker = false;
    HaveMarker();
    return m_bMarker;
}

// False when there is nothing to flush.
bool CIndex::TakeSnapshot(indexSnapshot& snapshot) {
    OSL_Guard guard(m_mutexIndex);
    if (m_objTree.IsEmpty()) return false;
    try {
        snapshot = m_objTree.TakeSnapshot(m_nFlushed);
        return true;
    } catch (const std::bad_alloc&) {
        snapshot = indexSnapshot();
        LogText(
            "[wtb][CIndex::WriteIndexToFile] new pIndexLevel1Body fail, "
            "m_lsIndexLevel1Body.size() [%zu]",
            m_objTree.GetDays().size());
        return false;
    }
}

void CIndex::FinishFlush(indexSnapshot& snapshot, bool bWritten) {
    {
        OSL_Guard guard(m_mutexIndex);
        if (bWritten) m_nFlushed = snapshot.nVersion;
        snapshot = indexSnapshot();  // the lists that it shares are given back under the lock
    }
    // A change that begins from here on waits for the mutex, and makes the marker anew.
    OSL_Guard guard(m_mtxMarker);
    if (bWritten && m_bMarker && IsSettled() && !m_bDoubtful && !WasAway()) RemoveMarker();
}

// Whether the flush has written all, and no file is about to come or go.
bool CIndex::IsSettled() {
    OSL_Guard guard(m_mutexIndex);
    return m_nChanging == 0 && m_objTree.GetVersion() == m_nFlushed;
}
