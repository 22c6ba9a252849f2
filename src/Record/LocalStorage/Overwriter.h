// Overwriting: when no disk has room, the files of the oldest day go, and what they leave empty.
//
// A pass has the turn of the disk that it deletes from, so no recording or picture is opened there
// meanwhile; but a channel may switch to a new file, and a clean-up never takes that file or holds
// it up: it removes only what it has looked at, and a folder only when nothing is left in it.
//
// The calls are made on the disk's thread for clean-ups. A disk that hangs is left alone.

#ifndef LOCALSTORAGE_RECORD_OVERWRITER_H
#define LOCALSTORAGE_RECORD_OVERWRITER_H

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "IndexMgr/IndexMgr.h"
#include "LocalStorage/ChannelTable.h"
#include "LocalStorage/Disks.h"
#include "LocalStorage/HostEvents.h"
#include "Osl/OslMutex.h"

/// Any thread, between Start and Stop.
class COverwriter {
public:
    /// All of them must outlive this object.
    COverwriter(CDisks& objDisks, const CChannelTable& objChannels, CHostEvents& objEvents)
        : m_objDisks(objDisks), m_objChannels(objChannels), m_objEvents(objEvents) {}

    /// Of these disks' index, which must outlive all passes, files of this kind will go.
    void Start(CIndexMgr& index, StoreFileType eWhat);
    /// A pass ends with the files in hand: a day may take minutes.
    void Stop() { m_bStop = true; }

    /// How fast a deletion pass goes: while a host waits for it, or one that may take its time.
    enum class Pace : std::uint8_t { Full, Gentle };
    /// Runs a deletion pass, unless the last one brought no room and is a moment ago.
    void MakeRoom(Pace ePace);
    /// Deletes the pictures of this day (the name of its folder) and of all before it from the
    /// current disk.
    void DeletePicturesUpTo(const std::string& strDay);

    /// A host's call that may have to wait for a pass: while one is under way, passes hurry.
    class CHostCall {
    public:
        explicit CHostCall(COverwriter& overwriter) : m_nCalls(overwriter.m_nHostCalls) {
            ++m_nCalls;
        }
        ~CHostCall() { --m_nCalls; }
        CHostCall(const CHostCall&) = delete;
        CHostCall& operator=(const CHostCall&) = delete;

    private:
        std::atomic<int>& m_nCalls;
    };

private:
    /// Rests as long as the pass has been busy since then, unless a host waits.
    void LetWritersGo(std::int64_t nBusySince) OSL_REQUIRES(m_mtxPass);
    /// One deletion pass: the oldest day from which something can be deleted. True when a file was
    /// deleted, or a disk has room meanwhile.
    bool DeleteFile() OSL_REQUIRES(m_mtxPass);
    /// Waits until a pass has made room. False: the disks gain none any more, or not in time.
    bool AwaitFreedSpace() OSL_REQUIRES(m_mtxPass);
    /// Deletes files on their disk's thread, a batch at a time, but for those that `isKept`:
    /// `remove` deletes one there and owns what it uses, `tell` hears what became of it. Ends when
    /// the disk gives no answer, with the file for which it gives none, and behind a batch at Stop.
    template <typename IsKept, typename Remove, typename Tell>
    void DeleteInBatches(const std::shared_ptr<CRecordDisk>& pDisk,
                         const std::vector<recordPath>& vFiles, IsKept isKept, Remove remove,
                         Tell tell) OSL_REQUIRES(m_mtxPass);
    /// Deletes these files of a day and tidies the folders. True when a file went.
    bool DeleteRecordFile(const oldestDay& day) OSL_REQUIRES(m_mtxPass);
    /// Reports one of them that is gone, and takes it out of the index.
    void ReportDeleted(const recordPath& stPath);
    bool DeleteImageFile(const oldestDay& day) OSL_REQUIRES(m_mtxPass);
    void ReportDeletedImage(const char* pPath);
    bool IsRecFileWritting(const std::string& strPath) const;

    CDisks& m_objDisks;
    const CChannelTable& m_objChannels;
    CHostEvents& m_objEvents;
    CIndexMgr* m_pIndexMgr = nullptr;
    StoreFileType m_eWhat = STORE_FILE_RECORD;
    std::atomic<bool> m_bStop{false};
    std::atomic<int> m_nHostCalls{0};

    /// Who needs room waits for the deletion pass that makes some.
    OSL_Mutex m_mtxPass{OSL_LockRank::DeletionPass, "deletion pass"};
    std::int64_t m_nNextPass OSL_GUARDED_BY(m_mtxPass) = 0;  ///< not before; in ticks
    Pace m_ePace OSL_GUARDED_BY(m_mtxPass) = Pace::Full;
};

#endif  // LOCALSTORAGE_RECORD_OVERWRITER_H
