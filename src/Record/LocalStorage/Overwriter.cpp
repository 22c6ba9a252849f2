#include "LocalStorage/Overwriter.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <system_error>

#include "FileSystem/FileSystem.h"
#include "FileSystem/FolderFiles.h"
#include "IndexMgr/RecordDisk.h"
#include "LocalStorage/EngineLog.h"
#include "Log/LogError.h"
#include "RecordTree/Names.h"

namespace {

constexpr int MAX_REMOVE_TRIES = 100;
constexpr std::int64_t MAX_REST = 100;  // ms

using NameList = std::list<std::string>;

// Whether a folder may go, by what lies in it.
using IsEmptyFunction = bool (*)(const NameList& lsSubDir, const NameList& lsSubFile);

bool HasNoName(const NameList& lsName, const char* pPart) {
    return std::none_of(lsName.begin(), lsName.end(), [&](const std::string& strName) {
        return strName.find(pPart) != std::string::npos;
    });
}

// Channel folders hold files; other names do not count and go with the folder.
bool HasNoRecording(const NameList&, const NameList& lsSubFile) {
    return HasNoName(lsSubFile, RECORDING_EXTENSION);
}
bool HasNoPicture(const NameList&, const NameList& lsSubFile) {
    return HasNoName(lsSubFile, PICTURE_EXTENSION);
}
// The folders above them hold folders; loose files go with the folder.
bool HasNoFolder(const NameList& lsSubDir, const NameList&) {
    return lsSubDir.empty();
}

// False when it cannot be read to its end; a folder that is gone is no fault.
bool ListFolder(const std::string& strDir, NameList& lsSubDir, NameList& lsSubFile) {
    if (GetSubTargetList(strDir, lsSubDir, lsSubFile)) return true;
    LogErrorUnlessGone("CLocalStorage::CleanUpDateDir", "cannot be read, stays", strDir,
                       OSL_GetSystemLastError());
    return false;
}

void RemoveLookedAt(const std::string& strDir, const NameList& lsSubDir,
                    const NameList& lsSubFile) {
    for (const std::string& strName : lsSubDir) DeleteDirectory(strDir + "/" + strName);
    for (const std::string& strName : lsSubFile) OSL_DeleteFile((strDir + "/" + strName).c_str());
    OSL_RemoveDir(strDir.c_str());
}

// Looks again before every try, since a recording may have come in the meantime. A folder that
// cannot be read to its end stays.
void RemoveWhileEmpty(const std::string& strDir, IsEmptyFunction IsEmpty) {
    for (int nTry = 0; nTry < MAX_REMOVE_TRIES; ++nTry) {
        NameList lsSubDir, lsSubFile;
        if (!ListFolder(strDir, lsSubDir, lsSubFile) || !IsEmpty(lsSubDir, lsSubFile)) return;
        RemoveLookedAt(strDir, lsSubDir, lsSubFile);
        if (OSL_AccessFile(strDir.c_str(), 0) != 0) return;
        OSL_Sleep(1);
    }
    LogText(
        "[wtb][CLocalStorage::RemoveWhileEmpty] folder cannot be removed, given up until the "
        "next pass, strDir [%s/]",
        strDir.c_str());
}

void CleanUpDateDir(const std::string& strDateDir, IsEmptyFunction IsChannelDirEmpty) {
    NameList lsSubDir, lsSubFile;
    ListFolder(strDateDir, lsSubDir, lsSubFile);
    for (const std::string& strName : lsSubDir) {
        RemoveWhileEmpty(strDateDir + "/" + strName, IsChannelDirEmpty);
    }
    RemoveWhileEmpty(strDateDir, HasNoFolder);
}

void TidyDay(const char* pMethod, CRecordDisk& disk, const dayFolder& stDay,
             IsEmptyFunction IsChannelDirEmpty) {
    disk.Calls().Run(DiskLane::CleanUp, [=] {
        CleanUpDateDir(stDay.Path(), IsChannelDirEmpty);
        LogText("[wtb][CLocalStorage::%s] CleanUpDateDir Path [%s/]", pMethod,
                stDay.Path().c_str());
        RemoveWhileEmpty(stDay.Tree(), HasNoFolder);
        return true;
    });
}

// Whether the disk that has offered the day still lies there, now that its turn is ours.
bool IsStillThere(const std::shared_ptr<CRecordDisk>& pDisk, const oldestDay& day) {
    return pDisk->Calls()
        .Run(DiskLane::CleanUp, [pDisk, nDisk = day.nDisk] { return pDisk->IsPresent(nDisk); })
        .value_or(false);
}

// What became of a file that was to go.
struct fileFate {
    bool bDeleted, bWasGone;
    int nError;
};

// So many files go between two looks at the channels and at who waits.
constexpr std::size_t BATCH = 256;

// What `remove` does not get to for want of memory stays.
template <typename Remove>
fileFate TryToRemove(Remove remove, const recordPath& stPath) try {
    return remove(stPath);
} catch (const std::exception&) {
    return fileFate{false, false, ENOMEM};
}

// A batch on its way through the disk's thread. Who waits for it may give it up: then it ends with
// the file in hand, of which nobody hears.
class CBatch {
public:
    explicit CBatch(std::vector<recordPath> vPaths) : vFiles(std::move(vPaths)) {
        m_vFates.reserve(vFiles.size());  // what became of a file is not forgotten
    }

    /// On the disk's thread.
    template <typename Remove>
    void RemoveAll(CRecordDisk& disk, Remove remove) {
        for (const recordPath& stPath : vFiles) {
            if (IsGivenUp()) return;
            const fileFate fate = TryToRemove(remove, stPath);
            if (Note(fate) || !fate.bDeleted) continue;
            disk.WriteIndex(stPath, CIndex::INDEX_TYPE_DELETE);
            LogText("[wtb][CLocalStorage::DeleteFile] the disk answers, deleted, path [%s]",
                    stPath.strPath.c_str());
        }
    }
    /// What became of the first files, as many as are done; the others are given up.
    std::vector<fileFate> Take() {
        OSL_Guard guard(m_mtx);
        m_bGivenUp = true;
        return std::move(m_vFates);
    }

    const std::vector<recordPath> vFiles;

private:
    bool IsGivenUp() {
        OSL_Guard guard(m_mtx);
        return m_bGivenUp;
    }
    bool Note(const fileFate& fate) {
        OSL_Guard guard(m_mtx);
        if (!m_bGivenUp) m_vFates.push_back(fate);
        return !m_bGivenUp;
    }

    OSL_Mutex m_mtx{OSL_LockRank::DiskCalls, "deletion batch"};
    std::vector<fileFate> m_vFates OSL_GUARDED_BY(m_mtx);
    bool m_bGivenUp OSL_GUARDED_BY(m_mtx) = false;
};

// Each is told, whatever becomes of the others.
template <typename Tell>
void TellAll(const std::vector<recordPath>& vFiles, const std::vector<fileFate>& vFates,
             Tell tell) {
    std::exception_ptr pShortage;
    for (std::size_t n = 0; n < vFates.size(); ++n) {
        try {
            tell(vFiles[n], vFates[n]);
        } catch (const std::exception&) {
            pShortage = std::current_exception();
        }
    }
    if (pShortage) std::rethrow_exception(pShortage);
}

// Those of a batch that no channel writes to.
template <typename IsKept>
std::vector<recordPath> NextBatch(const std::vector<recordPath>& vFiles, std::size_t nFrom,
                                  IsKept isKept) {
    const auto itFrom = vFiles.begin() + static_cast<std::ptrdiff_t>(nFrom);
    const auto itTo = itFrom + static_cast<std::ptrdiff_t>(std::min(BATCH, vFiles.size() - nFrom));
    std::vector<recordPath> vBatch;
    std::remove_copy_if(itFrom, itTo, std::back_inserter(vBatch), isKept);
    return vBatch;
}

}  // namespace

void COverwriter::Start(CIndexMgr& index, StoreFileType eWhat) {
    m_pIndexMgr = &index;
    m_eWhat = eWhat;
    m_bStop = false;
    OSL_Guard guard(m_mtxPass);
    m_nNextPass = std::numeric_limits<std::int64_t>::min();
}

// Where another program fills the disk, the archive is not given up to it within seconds.
void COverwriter::MakeRoom(Pace ePace) {
    constexpr std::int64_t PAUSE = 5000;  // ms
    OSL_Guard guard(m_mtxPass);
    if (OSL_TickMilliseconds() < m_nNextPass) return;
    m_ePace = ePace;
    const bool bRoom = DeleteFile() && AwaitFreedSpace();
    if (!bRoom) m_nNextPass = OSL_TickMilliseconds() + PAUSE;
}

// Half the time of a pass that nobody waits for belongs to the writers.
void COverwriter::LetWritersGo(std::int64_t nBusySince) {
    const std::int64_t nBusy = OSL_TickMilliseconds() - nBusySince;
    if (m_ePace == Pace::Full || m_nHostCalls > 0) return;
    OSL_Sleep(static_cast<std::uint32_t>(std::clamp<std::int64_t>(nBusy, 1, MAX_REST)));
}

// A disk that deleting gives no room is passed over, since its recordings would be lost for
// nothing; and a day that loses nothing (every file is open, say), so that it cannot end recording
// for good.
bool COverwriter::DeleteFile() try {
    if (m_eWhat > STORE_FILE_IMAGE) return false;
    const bool bImage = m_eWhat == STORE_FILE_IMAGE;
    passedOver stPassedOver;
    while (!m_bStop) {
        // A second look: what could not be told a moment ago must not cost a day.
        m_objDisks.AwaitAll();
        if (m_objDisks.Choose(CDisks::Prefer::First) != CDisks::Room::None) return true;
        stPassedOver.vRecDirs = m_objDisks.BeyondHelp();
        oldestDay day;
        const bool bFound = bImage ? m_pIndexMgr->QueryOldestImgFile(day, stPassedOver)
                                   : m_pIndexMgr->QueryOldestRecFile(day, stPassedOver);
        if (!bFound) return false;
        if (bImage ? DeleteImageFile(day) : DeleteRecordFile(day)) return true;
        if (!stPassedOver.setDays.insert(day.stDay.Path()).second) return false;
    }
    return false;
} catch (const std::system_error& shortage) {
    char szError[128];
    LogText("[wtb][CLocalStorage::DeleteFile] the oldest day cannot be told, error [%s]",
            OSL_ErrorText(shortage.code().value(), szError, sizeof(szError)));
    return false;
}

// Some file systems, xfs for one, give back the space of a deleted file a little later. Without the
// wait the next check would find the disks as full as before and delete a day too many.
bool COverwriter::AwaitFreedSpace() {
    constexpr std::uint32_t PAUSE = 5;       // ms
    constexpr std::int64_t PATIENCE = 1000;  // likewise, the looks included
    constexpr int MAX_IDLE_PAUSES = 10;
    const std::int64_t nEnd = OSL_TickMilliseconds() + PATIENCE;
    std::uint64_t nMost = 0;
    for (int nIdle = 0; OSL_TickMilliseconds() < nEnd && nIdle < MAX_IDLE_PAUSES;) {
        if (m_objDisks.ChooseAgain()) return true;
        nIdle = m_objDisks.UsableSpace() > nMost ? 0 : nIdle + 1;
        nMost = std::max(nMost, m_objDisks.UsableSpace());
        OSL_Sleep(PAUSE);
    }
    return false;
}

template <typename IsKept, typename Remove, typename Tell>
void COverwriter::DeleteInBatches(const std::shared_ptr<CRecordDisk>& pDisk,
                                  const std::vector<recordPath>& vFiles, IsKept isKept,
                                  Remove remove, Tell tell) {
    for (std::size_t nFrom = 0; nFrom < vFiles.size(); nFrom += BATCH) {
        const std::int64_t nBusySince = OSL_TickMilliseconds();
        const auto pBatch = std::make_shared<CBatch>(NextBatch(vFiles, nFrom, isKept));
        const auto ended = pDisk->Calls().Run(DiskLane::CleanUp, [pDisk, pBatch, remove] {
            pBatch->RemoveAll(*pDisk, remove);
            return true;
        });
        TellAll(pBatch->vFiles, pBatch->Take(), tell);
        if (!ended || m_bStop) return;
        LetWritersGo(nBusySince);
    }
}

bool COverwriter::DeleteRecordFile(const oldestDay& day) {
    const auto pDisk = m_pIndexMgr->Disk(day.stDay.strRecDir);
    const CDiskTurn turn(pDisk->Calls());
    if (!turn || !IsStillThere(pDisk, day)) return false;
    const auto change = pDisk->Calls().Run(
        DiskLane::CleanUp, [pDisk] { return std::make_shared<CIndexChange>(pDisk); });
    if (!change) return false;
    const auto pDeleter = std::make_shared<CFolderFiles>();
    bool bDeleted = false;
    std::vector<recordPath> vKept;
    const auto isKept = [&](const recordPath& stPath) {
        const bool bKept = IsRecFileWritting(stPath.strPath);
        if (bKept) vKept.push_back(stPath);
        return bKept;
    };
    const auto remove = [pDisk, pChange = *change, pDeleter](const recordPath& stPath) {
        pChange->MakeMarker();
        const bool bGone = pDeleter->Delete(stPath.strPath);
        const int nError = bGone ? 0 : OSL_GetSystemLastError();
        return fileFate{bGone, !bGone && pDisk->ForgetMissingFile(stPath), nError};
    };
    const auto tell = [&](const recordPath& stPath, const fileFate& fate) {
        // Not EIO: one file that cannot be deleted must not keep the pass from all the others.
        if (fate.nError == EROFS) m_objDisks.NoteFailure(stPath.strPath, EROFS);
        if (fate.bDeleted) ReportDeleted(stPath);
        bDeleted |= fate.bDeleted || fate.bWasGone;
        if (fate.bDeleted || fate.bWasGone) return;
        LogError("CLocalStorage::DeleteRecordFile", "cannot be deleted", stPath.strPath,
                 fate.nError);
        vKept.push_back(stPath);
    };
    try {
        DeleteInBatches(pDisk, day.vFiles, isKept, remove, tell);
        // Recordings with the same times share one entry: what stays of them takes it over.
        for (const recordPath& stPath : vKept) {
            m_pIndexMgr->WriteIndex(stPath, CIndexMgr::INDEX_TYPE_ADD);
        }
    } catch (const std::exception&) {
        (*change)->Leave();
        throw;
    }
    TidyDay("DeleteRecordFile", *pDisk, day.stDay, HasNoRecording);
    return bDeleted;
}

void COverwriter::ReportDeleted(const recordPath& stPath) {
    const char* const pPath = stPath.strPath.c_str();
    if (m_objEvents.SendDeleteFile(stPath.strPath)) {
        LogText(
            "[wtb][CLocalStorage::DeleteRecordFile] pFunCallback MESSAGEVALUE_DELETEFILE, "
            "strRecFilePath [%s]",
            pPath);
    }
    m_pIndexMgr->WriteIndex(stPath, CIndexMgr::INDEX_TYPE_DELETE);
    LogText("[wtb][CLocalStorage::DeleteRecordFile] Delete Record File Path [%s]", pPath);
}

// Deliberate: unlike recordings, pictures are in no index, and one being written may go.
bool COverwriter::DeleteImageFile(const oldestDay& day) {
    const auto pDisk = m_pIndexMgr->Disk(day.stDay.strRecDir);
    const CDiskTurn turn(pDisk->Calls());
    if (!turn || !IsStillThere(pDisk, day)) return false;
    const auto pDeleter = std::make_shared<CFolderFiles>();
    bool bDeleted = false;
    const auto isKept = [](const recordPath&) { return false; };
    const auto remove = [pDeleter](const recordPath& stPath) {
        const bool bGone = pDeleter->Delete(stPath.strPath);
        return fileFate{bGone, false, bGone ? 0 : OSL_GetSystemLastError()};
    };
    const auto tell = [&](const recordPath& stPath, const fileFate& fate) {
        bDeleted |= fate.bDeleted;
        if (fate.bDeleted) return ReportDeletedImage(stPath.strPath.c_str());
        LogError("CLocalStorage::DeleteImageFile", "cannot be deleted", stPath.strPath,
                 fate.nError);
    };
    DeleteInBatches(pDisk, day.vFiles, isKept, remove, tell);
    TidyDay("DeleteImageFile", *pDisk, day.stDay, HasNoPicture);
    return bDeleted;
}

void COverwriter::ReportDeletedImage(const char* pPath) {
    if (m_objEvents.SendDeleteFile(pPath)) {
        LogText(
            "[wtb][CLocalStorage::DeleteImageFile] pFunCallback MESSAGEVALUE_DELETEFILE, "
            "strImgFilePath [%s]",
            pPath);
    }
    LogText("[wtb][CLocalStorage::DeleteImageFile] Delete Image File Path [%s]", pPath);
}

bool COverwriter::IsRecFileWritting(const std::string& strPath) const {
    if (!m_objChannels.IsWriting(strPath)) return false;
    LogText("[wtb][CLocalStorage::IsRecFileWritting] file is writting, strRecFilePath [%s]",
            strPath.c_str());
    return true;
}

void COverwriter::DeletePicturesUpTo(const std::string& strDay) {
    OSL_Guard guard(m_mtxPass);
    if (!m_objDisks.LookAtCurrent().bPresent) return;
    const auto pDisk = m_pIndexMgr->Disk(m_objDisks.Current());
    const CDiskTurn turn(pDisk->Calls());
    if (!turn) return;
    pDisk->Calls().Run(DiskLane::CleanUp, [strDay, strRoot = pDisk->Path() + "/" + IMAGE_FOLDER] {
        NameList lsSubDir, lsSubFile;
        const auto note = [](bool bDone, const std::string& strPath) {
            if (bDone) return;
            LogErrorUnlessGone("CLocalStorage::DeleteImagesByDay", "cannot be deleted", strPath,
                               OSL_GetSystemLastError());
        };
        note(GetSubTargetList(strRoot, lsSubDir, lsSubFile, OSL_LastLink::IsFollowed), strRoot);
        for (const std::string& strName : lsSubDir) {
            const std::string strPath = strRoot + "/" + strName;
            if (strDay >= strName) note(DeleteDirectory(strPath), strPath);
        }
        return true;
    });
}
