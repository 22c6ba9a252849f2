// The record directories, meant to be one per disk: which of them is current, what the last look at
// each disk told, and where recording goes on when one is full.
//
// Free blocks are no proof of room: a disk can be out of inodes, over a quota, read-only or dying.
// So a disk remembers a failed write until a look finds that it takes files again.

#ifndef LOCALSTORAGE_RECORD_DISKS_H
#define LOCALSTORAGE_RECORD_DISKS_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "LocalStorage/DiskAsker.h"
#include "LocalStorage/DiskLook.h"
#include "Osl/OslMutex.h"

/// Any thread, but for Assign.
class CDisks {
public:
    using MakeAsker = std::function<std::unique_ptr<CDiskAsker>(const std::string& strRecDir)>;

    /// So long a fresh answer is waited for, of all disks together.
    static constexpr std::chrono::milliseconds ANSWER_PATIENCE{1000};

    explicit CDisks(MakeAsker makeAsker, std::chrono::milliseconds patience = ANSWER_PATIENCE)
        : m_makeAsker(std::move(makeAsker)), m_patience(patience) {}

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
    /// The directory that holds the file of this path; empty when none does.
    std::string DirectoryOf(const std::string& strPath) const;
    /// The last look at the current disk, failures since then included.
    diskLook CurrentLook() const;
    /// A new one.
    diskLook LookAtCurrent();

    /// Where room is looked for first; then from the first directory on.
    enum class Prefer { Current, First };
    /// Asks all disks at once that may be recorded on, and waits for as many answers as it takes to
    /// find one with room.
    void Ask(Prefer ePrefer = Prefer::Current);
    /// Asks those that are never recorded on, and waits for none: a disk that was mounted too late
    /// is taken over when it is asked.
    void AskOthers();
    enum class Room { Here, Moved, None };
    /// Makes the first current that has room, by the last looks; without any nothing changes.
    Room Choose(Prefer ePrefer = Prefer::Current);
    /// Both, from the first directory on. False: there is no room.
    bool ChooseAgain();
    /// Waits until every disk that may be recorded on has answered anew or counts as silent: one of
    /// which that is not known loses no recording.
    void AwaitAll();
    /// Whether one may be recorded on, beside this one, that answers.
    bool HasAnother(const std::string& strRecDir) const;

    /// Usable space in MiB by the last looks, of all that may be recorded on.
    std::uint64_t UsableSpace() const;
    /// The directories from which deleting wins nothing, by the last looks: their disks take no
    /// recording afterwards either, or none is meant to go there.
    std::vector<std::string> BeyondHelp() const;

    /// Counts the disk on which making or writing `strPath` failed as full, if the error is one of
    /// the disk's, until a look finds that it takes files again.
    void NoteFailure(const std::string& strPath, int nError);

    /// CDiskAsker::LastSilence of a directory.
    std::shared_ptr<const std::atomic<std::int64_t>> LastSilence(
        const std::string& strRecDir) const;

private:
    using Asked = std::vector<std::pair<CDiskAsker*, std::uint64_t>>;  // the question's number

    Asked AskInUse(Prefer ePrefer);
    /// Those that may be recorded on, in the order in which room is looked for.
    std::vector<std::size_t> InUse(Prefer ePrefer) const;
    std::size_t CurrentNumber() const;
    /// The disk whose directory holds this path; as many as there are when none does.
    std::size_t NumberOf(const std::string& strPath) const;

    const MakeAsker m_makeAsker;
    const std::chrono::milliseconds m_patience;
    std::vector<std::string> m_vRecDirs;                 ///< change in Assign only
    std::vector<std::unique_ptr<CDiskAsker>> m_vAskers;  ///< likewise
    bool m_bCycWrite = false;

    mutable OSL_Mutex m_mtxDisks{OSL_LockRank::CurrentDirectory, "current directory"};
    std::size_t m_nCurrent OSL_GUARDED_BY(m_mtxDisks) = 0;
};

#endif  // LOCALSTORAGE_RECORD_DISKS_H
