// The index of one record directory: reading and checking its files.

#include <cerrno>
#include <utility>

#include "IndexMgr/Index.h"
#include "Log/LogText.h"
#include "RecordTree/IndexMarker.h"

namespace {

void LogFault(const char* pMethod, const indexFileFault& fault, const char* pWhat) {
    LogText("[wtb][CIndex::%s] index0%d.bin %s, strIndexLevel%dPath [%s]", pMethod, fault.nLevel,
            pWhat, fault.nLevel, fault.strPath.c_str());
}

void LogNoMemory(const char* pMethod, const indexFileFault& fault) {
    const char* apCount[] = {"nExistDays", "nRecChannels", "nRecFiles"};
    LogText(
        "[wtb][CIndex::%s] index0%d.bin new pIndexLevel%dBody fail, strIndexLevel%dPath [%s], "
        "%s [%u]",
        pMethod, fault.nLevel, fault.nLevel, fault.nLevel, fault.strPath.c_str(),
        apCount[fault.nLevel - 1], fault.nCount);
}

// Reading after a failed check goes by the counts alone, so to it a file that is missing or too
// short to have an element is one that could not be opened or had no head.
void LogLoadFault(const char* pMethod, const indexFileFault& fault, bool bCheck) {
    switch (fault.eError) {
        case IndexFileError::NotExist:
            return LogFault(pMethod, fault, bCheck ? "not exist" : "open fail");
        case IndexFileError::Open:
            return LogFault(pMethod, fault, "open fail");
        case IndexFileError::Head:
            return LogFault(pMethod, fault, "read head fail");
        case IndexFileError::Length:
            return LogFault(pMethod, fault, "file len wrong");
        case IndexFileError::Memory:
            return LogNoMemory(pMethod, fault);
        case IndexFileError::Body:
            return LogFault(pMethod, fault, "read body fail");
        case IndexFileError::Element:
            return LogFault(pMethod, fault, "element wrong");
        default:
            if (!bCheck) LogFault(pMethod, fault, "read head fail");
    }
}

void RunOnTwoThreads(const LoadWork& first, const LoadWork& second) {
    OSL_RunAtOnce(2, [&](std::size_t n) { n == 0 ? first() : second(); });
}

}  // namespace

// Reads while it checks; what passed is kept for ReadIndex, so that no file is read twice.
CIndex::Step CIndex::CheckIndex() {
    const std::string strFolder = GetRecordFolder();
    if (OSL_AccessFile(strFolder.c_str(), 0) != 0 && OSL_GetSystemLastError() == ENOENT) {
        m_bRead = true;  // a new disk
        return Step::Done;
    }
    if (AskIndexMarker(strFolder) != IndexMarker::None) {  // [2]: the files may be older
        LogText("[wtb][CIndex::CheckIndex] index.dirty exist, strMarkerPath [%s/%s]",
                strFolder.c_str(), INDEX_DIRTY_MARKER);
        return Step::Failed;
    }
    indexFileFault fault;
    CIndexTree tree;
    if (LoadIndex(strFolder, IndexLength::Exact, tree, fault, RunOnTwoThreads)) {
        TakeTree(std::move(tree), LOADED_VERSION);
        return Step::Done;
    }
    LogLoadFault("CheckIndex", fault, true);
    const bool bMemory = fault.eError == IndexFileError::Memory;
    return Fail("cannot be read", fault.strPath, bMemory ? ENOMEM : fault.nSystemError);
}

// Reads the files after a check that failed, where no repair helped either and there is no other
// record folder to go to. From then on the marker stays, so that the next start tries the repair
// again.
bool CIndex::ReadIndex() {
    if (m_bRead) return true;
    m_bDoubtful = true;
    indexFileFault fault;
    CIndexTree tree;
    if (!LoadIndex(GetRecordFolder(), IndexLength::AtLeast, tree, fault)) {
        if (fault.eError == IndexFileError::NotExist && fault.nLevel == 1) {
            return true;  // a new disk
        }
        LogLoadFault("ReadIndex", fault, false);
        return false;
    }
    TakeTree(std::move(tree), LOADED_VERSION);
    return true;
}

void CIndex::TakeTree(CIndexTree tree, std::uint64_t nFlushed) {
    OSL_Guard guard(m_mutexIndex);
    m_objTree = std::move(tree);
    m_nFlushed = nFlushed;
    m_bRead = true;
}
