#include "Support/FaultInjection.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Osl/OslCalls.h"

namespace {

using Paths = std::vector<std::string>;
using ValueOfDir = std::map<std::string, std::uint64_t>;

constexpr std::size_t EVERYTHING = std::numeric_limits<std::size_t>::max();

/// The calls that match run something, or else fail with an error or move so many bytes at most.
struct Rule {
    Op m_eOp;
    PathMatch m_match;
    std::function<void()> m_run = {};
    int m_nError = 0;
    std::size_t m_nMostBytes = EVERYTHING;
    std::uint64_t m_nFrom = 1;
    std::uint64_t m_nTimes = EVERYTHING;
    std::uint64_t m_nSeen = 0;

    /// Counts the call when it matches; true when it is one that is meant.
    bool Applies(Op eOp, const Paths& vPath) {
        if (eOp != m_eOp || std::none_of(vPath.begin(), vPath.end(), m_match)) return false;
        ++m_nSeen;
        return m_nSeen >= m_nFrom && m_nSeen - m_nFrom < m_nTimes;
    }
};

struct State {
    bool m_bInstalled = false;
    std::map<int, std::string> m_mPathOfFile = {};
    std::vector<Rule> m_vecRule = {};
    ValueOfDir m_mFreeMiB = {};
    ValueOfDir m_mDevice = {};
    bool m_bClockStopped = false;
    std::int64_t m_nNow = 0;  ///< milliseconds
    bool m_bShowTypes = true;
    bool m_bSleeps = true;
};

/// All that the calls below know, and the lock on it. Never destroyed: a thread may still be inside
/// a call when the object that installed it is gone.
auto& g_locked = *new std::pair<std::mutex, State>;

template <typename Use>
auto Locked(Use use) {
    const std::lock_guard<std::mutex> guard(g_locked.first);
    return use(g_locked.second);
}

std::string Clean(const std::string& strPath) {
    std::string strClean;
    for (const char c : strPath) {
        if (c != '/' || strClean.empty() || strClean.back() != '/') strClean += c;
    }
    if (strClean.size() > 1 && strClean.back() == '/') strClean.pop_back();
    return strClean;
}

bool IsBelow(const std::string& strPath, const std::string& strDir) {
    return strPath == strDir || strDir == "/" || strPath.starts_with(strDir + "/");
}

/// Overwrites `nValue` with what has been set for the longest directory that holds the path; false
/// when nothing has.
template <typename Value>
bool Fake(ValueOfDir State::*pValues, const std::string& strPath, Value& nValue) {
    return Locked([&](State& state) {
        const ValueOfDir& mValue = state.*pValues;
        // Of directories that hold one path, the longer ones sort later.
        const auto Holds = [&](const auto& pair) { return IsBelow(strPath, pair.first); };
        const auto it = std::find_if(mValue.rbegin(), mValue.rend(), Holds);
        if (it != mValue.rend()) nValue = static_cast<Value>(it->second);
        return it != mValue.rend();
    });
}

std::string PathOf(int nFile) {
    return Locked([=](State& state) { return state.m_mPathOfFile[nFile]; });
}

// The paths that a call is about, from its arguments.
Paths PathsOf(const char* pFrom, const char* pTo) {
    return {Clean(pFrom), Clean(pTo)};
}
Paths PathsOf(const char* pPath, auto...) {
    return {Clean(pPath)};
}
Paths PathsOf(int nFile, auto...) {
    return {PathOf(nFile)};
}
Paths PathsOf(int nDir, const char* pPath, auto...) {
    const bool bInDir = nDir != AT_FDCWD && pPath[0] != '/';
    return {Clean(bInDir ? PathOf(nDir) + "/" + pPath : std::string(pPath))};
}

/// Runs what stands in front of the call, then obeys the first rule with a verdict. False, and
/// errno, when the call fails; `pMostBytes` receives how many bytes it may move.
bool Allow(Op eOp, const Paths& vPath, std::size_t* pMostBytes = nullptr) {
    std::vector<std::function<void()>> vRun;
    int nError = errno;
    bool bDecided = false, bAllowed = true;
    Locked([&](State& state) {
        for (Rule& rule : state.m_vecRule) {
            if (!rule.Applies(eOp, vPath)) continue;
            if (rule.m_run) {
                vRun.push_back(rule.m_run);
            } else if (!std::exchange(bDecided, true)) {
                bAllowed = rule.m_nError == 0;
                nError = bAllowed ? nError : rule.m_nError;
                if (pMostBytes) *pMostBytes = rule.m_nMostBytes;
            }
        }
    });
    for (const auto& run : vRun) run();
    errno = nError;
    return bAllowed;
}

/// An entry of the table: asks the rules, then the system.
template <Op OP, auto ENTRY, typename = decltype(ENTRY)>
struct Entry;
template <Op OP, auto ENTRY, typename Result, typename... Args>
struct Entry<OP, ENTRY, Result (*OSL_Calls::*)(Args...)> {
    static Result Call(Args... args) {
        return Allow(OP, PathsOf(args...)) ? (OSL_SYSTEM_CALLS.*ENTRY)(args...) : -1;
    }
};

int Open(const char* pPath, int nFlags, mode_t nMode) {
    const int nFile = Entry<Op::Open, &OSL_Calls::pfnOpen>::Call(pPath, nFlags, nMode);
    if (nFile < 0) return nFile;
    return Locked([&](State& state) {
        state.m_mPathOfFile[nFile] = Clean(pPath);
        return nFile;
    });
}

// What fails is closed all the same, as it is by the system.
int Close(int nFile) {
    const bool bAllowed = Allow(Op::Close, PathsOf(nFile));
    const int nError = errno;
    const int nResult = OSL_SYSTEM_CALLS.pfnClose(nFile);
    if (bAllowed) return nResult;
    errno = nError;
    return -1;
}

ssize_t Write(int nFile, const void* pBuf, std::size_t nSize) {
    std::size_t nMostBytes = EVERYTHING;
    if (!Allow(Op::Write, PathsOf(nFile), &nMostBytes)) return -1;
    return OSL_SYSTEM_CALLS.pfnWrite(nFile, pBuf, std::min(nSize, nMostBytes));
}

int StatAt(int nDir, const char* pPath, struct stat* pStat, int nFlags) {
    const int nResult = Entry<Op::Stat, &OSL_Calls::pfnStatAt>::Call(nDir, pPath, pStat, nFlags);
    if (nResult == 0) Fake(&State::m_mDevice, PathsOf(nDir, pPath)[0], pStat->st_dev);
    return nResult;
}

struct dirent* ReadDir(DIR* pDir) {
    if (!Allow(Op::ReadDir, {PathOf(::dirfd(pDir))})) return nullptr;
    struct dirent* pEntry = OSL_SYSTEM_CALLS.pfnReadDir(pDir);
    const bool bShow = Locked([](State& state) { return state.m_bShowTypes; });
    if (pEntry && !bShow) pEntry->d_type = DT_UNKNOWN;
    return pEntry;
}

int StatVfs(const char* pPath, struct statvfs* pStat) {
    const int nResult = Entry<Op::StatVfs, &OSL_Calls::pfnStatVfs>::Call(pPath, pStat);
    if (nResult == 0 && Fake(&State::m_mFreeMiB, Clean(pPath), pStat->f_bfree)) {
        pStat->f_bavail = pStat->f_bfree;
        pStat->f_frsize = 1 << 20;
    }
    return nResult;
}

int ThreadCreate(pthread_t* pThread, const pthread_attr_t* pAttr, void* (*pProc)(void*),
                 void* pArg) {
    if (!Allow(Op::ThreadCreate, {""})) return errno;
    return OSL_SYSTEM_CALLS.pfnThreadCreate(pThread, pAttr, pProc, pArg);
}

int Clock(clockid_t nClock, struct timespec* pTime) {
    return Locked([=](State& state) {
        if (!state.m_bClockStopped) return OSL_SYSTEM_CALLS.pfnClock(nClock, pTime);
        pTime->tv_sec = static_cast<std::time_t>(state.m_nNow / 1000);
        pTime->tv_nsec = static_cast<long>(state.m_nNow % 1000) * 1000000;
        return 0;
    });
}

void Sleep(std::uint32_t nMilliseconds) {
    if (Locked([](State& state) { return state.m_bSleeps; })) {
        OSL_SYSTEM_CALLS.pfnSleep(nMilliseconds);
    }
}

constinit const OSL_Calls FAULTY_CALLS = {
    .pfnOpen = Open,
    .pfnClose = Close,
    .pfnRead = Entry<Op::Read, &OSL_Calls::pfnRead>::Call,
    .pfnWrite = Write,
    .pfnSeek = ::lseek,
    .pfnTruncate = Entry<Op::Write, &OSL_Calls::pfnTruncate>::Call,
    .pfnSync = Entry<Op::Sync, &OSL_Calls::pfnSync>::Call,
    .pfnFileMode = Entry<Op::FileMode, &OSL_Calls::pfnFileMode>::Call,
    .pfnAccess = Entry<Op::Access, &OSL_Calls::pfnAccess>::Call,
    .pfnUnlinkAt = Entry<Op::Unlink, &OSL_Calls::pfnUnlinkAt>::Call,
    .pfnRename = Entry<Op::Rename, &OSL_Calls::pfnRename>::Call,
    .pfnStatAt = StatAt,
    .pfnOpenDir = ::fdopendir,
    .pfnReadDir = ReadDir,
    .pfnCloseDir = ::closedir,
    .pfnMakeDir = Entry<Op::MakeDir, &OSL_Calls::pfnMakeDir>::Call,
    .pfnRemoveDir = Entry<Op::RemoveDir, &OSL_Calls::pfnRemoveDir>::Call,
    .pfnStatVfs = StatVfs,
    .pfnUser = ::geteuid,
    .pfnSyncFileSystem = Entry<Op::Sync, &OSL_Calls::pfnSyncFileSystem>::Call,
    .pfnCanSync = Entry<Op::CanSync, &OSL_Calls::pfnCanSync>::Call,
    .pfnSyncData = Entry<Op::Sync, &OSL_Calls::pfnSyncData>::Call,
    .pfnReserve = Entry<Op::Reserve, &OSL_Calls::pfnReserve>::Call,
    .pfnLock = Entry<Op::Lock, &OSL_Calls::pfnLock>::Call,
    .pfnThreadCreate = ThreadCreate,
    .pfnClock = Clock,
    .pfnSleep = Sleep,
};

std::size_t AddRule(Rule rule) {
    return Locked([&rule](State& state) {
        state.m_vecRule.push_back(std::move(rule));
        return state.m_vecRule.size() - 1;
    });
}

}  // namespace

PathMatch Any() {
    return [](const std::string&) { return true; };
}

PathMatch Is(const std::string& strPath) {
    return [strWanted = Clean(strPath)](const std::string& str) { return str == strWanted; };
}

PathMatch Below(const std::string& strDir) {
    return [strWanted = Clean(strDir)](const std::string& str) { return IsBelow(str, strWanted); };
}

PathMatch Ends(const std::string& strSuffix) {
    return [strSuffix](const std::string& str) { return str.ends_with(strSuffix); };
}

CFaultInjection::CFaultInjection() {
    Locked([](State& state) {
        if (state.m_bInstalled) throw std::logic_error("one fault injection at a time");
        state = {.m_bInstalled = true};
    });
    g_pOslCalls.store(&FAULTY_CALLS);
}

CFaultInjection::~CFaultInjection() {
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
    Locked([](State& state) { state = {}; });
}

CFaultInjection::CRule& CFaultInjection::CRule::From(std::uint64_t n) {
    Locked([=, this](State& state) { state.m_vecRule.at(m_nRule).m_nFrom = n; });
    return *this;
}

CFaultInjection::CRule& CFaultInjection::CRule::Times(std::uint64_t n) {
    Locked([=, this](State& state) { state.m_vecRule.at(m_nRule).m_nTimes = n; });
    return *this;
}

std::uint64_t CFaultInjection::CRule::Seen() const {
    return Locked([this](State& state) { return state.m_vecRule.at(m_nRule).m_nSeen; });
}

CFaultInjection::CRule CFaultInjection::Fail(Op eOp, PathMatch match, int nError) {
    return CRule(AddRule({.m_eOp = eOp, .m_match = std::move(match), .m_nError = nError}));
}

CFaultInjection::CRule CFaultInjection::ShortWrite(PathMatch match, std::size_t nBytes) {
    return CRule(
        AddRule({.m_eOp = Op::Write, .m_match = std::move(match), .m_nMostBytes = nBytes}));
}

CFaultInjection::CRule CFaultInjection::Before(Op eOp, PathMatch match, std::function<void()> run) {
    return CRule(AddRule({.m_eOp = eOp, .m_match = std::move(match), .m_run = std::move(run)}));
}

CFaultInjection::CRule CFaultInjection::Watch(Op eOp, PathMatch match) {
    return Before(eOp, std::move(match), [] {});
}

void CFaultInjection::KillAfter(PathMatch match, int& nLeft) {
    for (const Op eOp : {Op::Open, Op::Write, Op::FileMode, Op::Unlink, Op::Rename, Op::RemoveDir,
                         Op::MakeDir, Op::Sync}) {
        Fail(
            eOp, [&nLeft, match](const std::string& str) { return match(str) && nLeft-- <= 0; },
            EIO);
    }
}

void CFaultInjection::ClearRules() {
    Locked([](State& state) { state.m_vecRule.clear(); });
}

void CFaultInjection::SetFreeSpace(const std::string& strDir, std::uint64_t nMiB) {
    Locked([&](State& state) { state.m_mFreeMiB[Clean(strDir)] = nMiB; });
}

void CFaultInjection::SetDevice(const std::string& strDir, std::uint64_t nDevice) {
    Locked([&](State& state) { state.m_mDevice[Clean(strDir)] = nDevice; });
}

void CFaultInjection::ClearDevices() {
    Locked([](State& state) { state.m_mDevice.clear(); });
}

void CFaultInjection::SetTime(std::time_t tSeconds, int nMilliseconds) {
    Locked([=](State& state) {
        state.m_bClockStopped = true;
        state.m_nNow = std::int64_t{tSeconds} * 1000 + nMilliseconds;
    });
}

void CFaultInjection::AdvanceTime(std::int64_t nMilliseconds) {
    Locked([=](State& state) { state.m_nNow += nMilliseconds; });
}

void CFaultInjection::SkipSleeps() {
    Locked([](State& state) { state.m_bSleeps = false; });
}

void CFaultInjection::ShowEntryTypes(bool bShow) {
    Locked([=](State& state) { state.m_bShowTypes = bShow; });
}
