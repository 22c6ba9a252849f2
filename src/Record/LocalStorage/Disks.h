// The record directories, meant to be one per disk: which of them is current, what the last look at
// each disk told, and where recording goes on when one is full.
//
// Free blocks are no proof of room: a disk can be out of inodes, over a quota, read-only or dying.
// So a disk remembers a failed write until a look finds that it takes files again.

#ifndef LOCALSTORAGE_RECORD_DISKS_H
#define LOCALSTORAGE_RECORD_DISKS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "LocalStorage/DiskLook.h"
#include "Osl/OslMutex.h"

/// Looks are taken by one thread at a time; the rest may be asked from any thread.
class CDisks {
public:
    /// Takes one look at the disk of a directory that failed with this error last (0: it did not).
    using AskDisk = std::function<diskLook(const std::string& strRecDir, int nFailure)>;

    explicit CDisks(AskDisk ask) : m_ask(std::move(ask)) {}

    /// Takes the directories in the host's order, without a "/" at the end; the first becomes
    /// current. With `bCycWrite` recording moves among them, without it stays on the first. No
    /// other call may run meanwhile.
    void Assign(const std::list<std::string>& lsRecDir, bool bCycWrite);
    /// The directories.
    const std::vector<std::string>& All() const { return m_vRecDirs; }
    /// The current record directory; empty before Assign.
    std::string Current() const;
    /// Whether the file of this path lies on the current disk.
    bool IsOnCurrent(const std::string& strPath) const;
    /// The last look at the current disk, failures since then included.
    diskLook CurrentLook() const;
    /// A new one.
    diskLook LookAtCurrent();

    enum class Room { Here, Moved, None };
    /// Looks for room, at each disk once: at the current one, then from the first on until one has
    /// some. That becomes current; without any nothing changes.
    Room FindRoom();
    /// The same from the first on, whichever is current. False: there is no room.
    bool ChooseAgain();

    /// Usable space in MiB by the last looks, of all that may be recorded on.
    std::uint64_t UsableSpace() const;
    /// The directories from which deleting wins nothing, by the last looks: their disks take no
    /// recording afterwards either, or none is meant to go there.
    std::vector<std::string> BeyondHelp() const;

    /// Counts the disk on which making or writing `strPath` failed as full, if the error is one of
    /// the disk's, until a look finds that it takes files again.
    void NoteFailure(const std::string& strPath, int nError);

private:
    diskLook Look(std::size_t nDisk);
    Room TakeFirstWithRoom(const std::vector<std::size_t>& vOrder);
    /// Those that may be recorded on.
    std::vector<std::size_t> InUse() const;
    std::size_t CurrentNumber() const;
    /// The disk whose directory holds this path; as many as there are when none does.
    std::size_t NumberOf(const std::string& strPath) const;

    const AskDisk m_ask;
    std::vector<std::string> m_vRecDirs;  ///< change in Assign only
    bool m_bCycWrite = false;

    mutable OSL_Mutex m_mtxDisks{OSL_LockRank::CurrentDirectory, "current directory"};
    std::vector<diskLook> m_vLooks OSL_GUARDED_BY(m_mtxDisks);  ///< the last ones
    std::size_t m_nCurrent OSL_GUARDED_BY(m_mtxDisks) = 0;
};

#endif  // LOCALSTORAGE_RECORD_DISKS_H
