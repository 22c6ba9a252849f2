// Faults, disks and clocks that a test makes up, underneath the whole library.
//
//     CFaultInjection faults;
//     faults.SetFreeSpace(dir.Path(), 2048);                      // MiB, for all below it
//     faults.Fail(Op::Write, Below(dir.Path()), ENOSPC).From(3);  // the 3rd write and all later
//     faults.Fail(Op::Open, Ends(".mp4"), EMFILE).Times(1);       // the next open only
//     faults.SetTime(1709622000);                                 // the clock stands still
//
// It stands in the runtime's table of system calls from its construction to its destruction; one at
// a time. Everything may be called while threads of the library run. Paths are compared as the
// library passed them, less doubled and trailing slashes; a file is known by the path it was opened
// under, and only when that happened while the object lived.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_FAULTINJECTION_H
#define LOCALSTORAGE_TESTS_SUPPORT_FAULTINJECTION_H

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <string>

/// The calls that can fail. A directory is opened with Open; a file is cut with Write; Stat is
/// asked for attributes (and for types where ShowEntryTypes(false)); Rename matches when either of
/// its paths does; CanSync asks whether a file system can be synced as a whole; the path of
/// ThreadCreate is empty.
enum class Op {
    Open,
    Close,
    Read,
    Write,
    FileMode,
    Access,
    Unlink,
    Rename,
    Stat,
    ReadDir,
    MakeDir,
    RemoveDir,
    StatVfs,
    Sync,
    CanSync,
    Reserve,
    Lock,
    ThreadCreate
};

using PathMatch = std::function<bool(const std::string& strPath)>;
PathMatch Any();
PathMatch Is(const std::string& strPath);
/// The directory itself and everything below it.
PathMatch Below(const std::string& strDir);
PathMatch Ends(const std::string& strSuffix);

class CFaultInjection {
public:
    CFaultInjection();
    ~CFaultInjection();
    CFaultInjection(const CFaultInjection&) = delete;
    CFaultInjection& operator=(const CFaultInjection&) = delete;

    /// Which of the calls that match are meant, counted from 1; all of them at first.
    class CRule {
    public:
        /// Only from the n-th on.
        CRule& From(std::uint64_t n);
        /// At most so many.
        CRule& Times(std::uint64_t n);
        /// How many calls have matched so far, those not meant included.
        std::uint64_t Seen() const;

    private:
        friend class CFaultInjection;
        explicit CRule(std::shared_ptr<struct faultRule> p) : m_p(std::move(p)) {}
        std::shared_ptr<struct faultRule> m_p;
    };

    /// The calls fail with this error number and do nothing. The first rule that applies counts.
    CRule Fail(Op eOp, PathMatch match, int nError);
    /// The writes move at most so many bytes and succeed.
    CRule ShortWrite(PathMatch match, std::size_t nBytes);
    /// Runs before the calls, on their thread, without a lock: to wait, or to change the tree.
    CRule Before(Op eOp, PathMatch match, std::function<void()> run);
    /// Only counts the calls: see CRule::Seen.
    CRule Watch(Op eOp, PathMatch match);
    /// Lets the first `nLeft` calls that change these paths happen and fails every later one, as
    /// if the process had been killed there; `nLeft` counts down and is below zero then.
    /// Directories are not opened any more either.
    void KillAfter(PathMatch match, int& nLeft);
    /// Takes back all rules, but not free space, devices and clock.
    void ClearRules();
    /// Takes back everything.
    void Reset();

    /// Free space in MiB of the file system that holds everything below a directory; the longest
    /// directory that holds a path counts. A path that does not exist has none all the same.
    void SetFreeSpace(const std::string& strDir, std::uint64_t nMiB);
    /// Device number of everything below a directory; likewise.
    void SetDevice(const std::string& strDir, std::uint64_t nDevice);
    void ClearDevices();
    /// Stops the clock at this time.
    void SetTime(std::time_t tSeconds, int nMilliseconds = 0);
    /// Moves a stopped clock.
    void AdvanceTime(std::int64_t nMilliseconds);
    /// Lets every pause of the library be over at once.
    void SkipSleeps();
    /// False: the directory listing tells no entry's type, as on some file systems.
    void ShowEntryTypes(bool bShow);
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_FAULTINJECTION_H
