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
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The calls that can fail. A directory is opened with Open; a file is cut with Write; Stat is
/// asked for attributes (and for types where ShowEntryTypes(false)); Rename matches when either of
/// its paths does; CanSync asks whether a file system can be synced as a whole; the path of
/// ThreadCreate is empty. Other is what no test fails by name; Any is each of them.
enum class Op {
    Any,
    Other,
    Open,
    Duplicate,
    Close,
    Write,
    Truncate,
    Access,
    Unlink,
    Rename,
    Stat,
    OpenDir,
    ReadDir,
    CloseDir,
    MakeDir,
    RemoveDir,
    StatVfs,
    Sync,
    CanSync,
    Reserve,
    ThreadCreate
};

using PathMatch = std::function<bool(const std::string& strPath)>;
PathMatch Any();
PathMatch Is(const std::string& strPath);
/// The directory itself and everything below it.
PathMatch Below(const std::string& strDir);
PathMatch Ends(const std::string& strSuffix);

/// A path without doubled and trailing slashes.
std::string CleanPath(const std::string& strPath);

/// The calls that match run something, or else fail with an error or move so many bytes at most.
struct faultRule {
    Op eOp;
    PathMatch match;
    std::function<void()> run = {};
    int nError = 0;
    std::size_t nMostBytes = SIZE_MAX;
    std::uint64_t nFrom = 1, nTimes = UINT64_MAX, nSeen = 0;
};

/// All that the faulty calls know.
struct faultState {
    using ValueOfDir = std::map<std::string, std::uint64_t>;
    std::vector<std::shared_ptr<faultRule>> vRule = {};
    std::map<int, std::string> mPathOfFile = {};
    ValueOfDir mFreeMiB = {}, mDevice = {};
    std::optional<std::int64_t> nNow = {};  ///< milliseconds, where the clocks stand
    std::int64_t nStep = 0;                 ///< of the wall clock, from the other
    bool bShowTypes = true, bSleeps = true;
};

/// The one state, for one thread at a time. Never destroyed: a thread may still be inside a call
/// when the object that installed it is gone.
struct CLockedFaults {
    static inline auto& s_mtx = *new std::mutex;
    static inline auto& s_state = *new faultState;
    const std::lock_guard<std::mutex> m_guard{s_mtx};
    faultState* operator->() const { return &s_state; }
};

class CFaultInjection {
public:
    CFaultInjection();
    ~CFaultInjection();
    CFaultInjection(const CFaultInjection&) = delete;
    CFaultInjection& operator=(const CFaultInjection&) = delete;

    /// Which of the calls that match are meant, counted from 1; all of them at first.
    class CRule {
    public:
        explicit CRule(faultRule rule) : m_p(std::make_shared<faultRule>(std::move(rule))) {
            CLockedFaults()->vRule.push_back(m_p);
        }
        /// Only from the n-th on.
        CRule& From(std::uint64_t n) { return Set(&faultRule::nFrom, n); }
        /// At most so many.
        CRule& Times(std::uint64_t n) { return Set(&faultRule::nTimes, n); }
        /// How many calls have matched so far, those not meant included.
        std::uint64_t Seen() const {
            const CLockedFaults locked;
            return m_p->nSeen;
        }

    private:
        CRule& Set(std::uint64_t faultRule::*pMember, std::uint64_t n) {
            const CLockedFaults locked;
            return (*m_p).*pMember = n, *this;
        }
        std::shared_ptr<faultRule> m_p;
    };

    /// The calls fail with this error number and do nothing. The first rule that applies counts.
    CRule Fail(Op eOp, PathMatch match, int nError) { return CRule({eOp, match, {}, nError}); }
    /// The writes move at most so many bytes and succeed.
    CRule ShortWrite(PathMatch match, std::size_t nBytes) {
        return CRule({Op::Write, match, {}, 0, nBytes});
    }
    /// Runs before the calls, on their thread, without a lock: to wait, or to change the tree.
    CRule Before(Op eOp, PathMatch match, std::function<void()> run) {
        return CRule({eOp, match, run});
    }
    /// Only counts the calls: see CRule::Seen.
    CRule Watch(Op eOp, PathMatch match) {
        return Before(eOp, match, [] {});
    }
    /// Takes back all rules, but not free space, devices and clock.
    void ClearRules() { CLockedFaults()->vRule.clear(); }
    /// Takes back everything.
    void Reset() { *CLockedFaults().operator->() = {}; }

    /// Free space in MiB of the file system that holds everything below a directory; the longest
    /// directory that holds a path counts. A path that does not exist has none all the same.
    void SetFreeSpace(const std::string& strDir, std::uint64_t nMiB) {
        CLockedFaults()->mFreeMiB[CleanPath(strDir)] = nMiB;
    }
    /// Device number of everything below a directory; likewise.
    void SetDevice(const std::string& strDir, std::uint64_t nDevice) {
        CLockedFaults()->mDevice[CleanPath(strDir)] = nDevice;
    }
    void ClearDevices() { CLockedFaults()->mDevice.clear(); }
    /// Stops the clocks at this time.
    void SetTime(std::time_t tSeconds, int nMilliseconds = 0) {
        CLockedFaults()->nNow = std::int64_t{tSeconds} * 1000 + nMilliseconds;
    }
    /// Moves the stopped clocks.
    void AdvanceTime(std::int64_t nMilliseconds) { *CLockedFaults()->nNow += nMilliseconds; }
    /// Sets the wall clock forward or back; the other goes on.
    void StepClock(std::int64_t nMilliseconds) { CLockedFaults()->nStep += nMilliseconds; }
    /// Lets every pause of the library be over at once.
    void SkipSleeps() { CLockedFaults()->bSleeps = false; }
    /// False: the directory listing tells no entry's type, as on some file systems.
    void ShowEntryTypes(bool bShow) { CLockedFaults()->bShowTypes = bShow; }
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_FAULTINJECTION_H
