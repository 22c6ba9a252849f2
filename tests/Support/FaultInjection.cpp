#include "Support/FaultInjection.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Osl/OslCalls.h"

using Paths = std::vector<std::string>;

/// The calls that match run something, or else fail with an error or move so many bytes at most.
struct faultRule {
    Op eOp;
    PathMatch match;
    std::function<void()> run;
    int nError;
    std::size_t nMostBytes;
    std::uint64_t nFrom = 1, nTimes = UINT64_MAX, nSeen = 0;

    /// Counts the call when it matches; true when it is one that is meant.
    bool Applies(Op eCall, const Paths& vPath) {
        if (eCall != eOp || std::none_of(vPath.begin(), vPath.end(), match)) return false;
        return ++nSeen >= nFrom && nSeen - nFrom < nTimes;
    }
};

namespace {

using ValueOfDir = std::map<std::string, std::uint64_t>;

constexpr std::size_t EVERYTHING = SIZE_MAX;

struct State {
    bool bInstalled = false;
    std::vector<std::shared_ptr<faultRule>> vRule = {};
    std::map<int, std::string> mPathOfFile = {};
    ValueOfDir mFreeMiB = {}, mDevice = {};
    std::optional<std::int64_t> nNow = {};  ///< milliseconds, where the clock stands
    bool bShowTypes = true, bSleeps = true;
};

/// All that the calls below know, for one thread at a time. Never destroyed: a thread may still be
/// inside a call when the object that installed it is gone.
struct Locked {
    static inline auto& s_mtx = *new std::mutex;
    static inline auto& s_state = *new State;
    const std::lock_guard<std::mutex> guard{s_mtx};
    State* operator->() const { return &s_state; }
};

std::string Clean(const std::string& strPath) {
    std::string strClean = std::filesystem::path(strPath).lexically_normal();
    if (strClean.size() > 1 && strClean.back() == '/') strClean.pop_back();
    return strClean;
}

bool IsBelow(const std::string& strPath, const std::string& strDir) {
    return strPath == strDir || strDir == "/" || strPath.starts_with(strDir + "/");
}

/// Overwrites `nValue` with what has been set for the longest directory that holds the path, which
/// of all that do sorts last; false when nothing has.
bool Fake(ValueOfDir State::*pValues, const std::string& strPath, auto& nValue) {
    const Locked state;
    const ValueOfDir& mValue = state.operator->()->*pValues;
    const auto it = std::find_if(mValue.rbegin(), mValue.rend(),
                                 [&](const auto& pair) { return IsBelow(strPath, pair.first); });
    if (it != mValue.rend()) nValue = it->second;
    return it != mValue.rend();
}

std::string PathOf(int nFile) {
    return Locked()->mPathOfFile[nFile];
}

// The paths that a call is about, from its arguments.
Paths PathsOf(const char* pFrom, const char* pTo) {
    return {Clean(pFrom), Clean(pTo)};
}
Paths PathsOf(const char* pPath, auto...) {
    return {Clean(pPath)};
}
Paths PathsOf(int nDir, const char* pPath, auto...) {
    const bool bInDir = nDir != AT_FDCWD && pPath[0] != '/';
    return {Clean(bInDir ? PathOf(nDir) + "/" + pPath : std::string(pPath))};
}
Paths PathsOf(int nFile, auto...) {
    return {PathOf(nFile)};
}
Paths PathsOf(DIR* pDir) {
    return {PathOf(::dirfd(pDir))};
}
Paths PathsOf(pthread_t*, auto...) {
    return {""};
}

/// Runs what stands in front of the call, then obeys the first rule with a verdict. False, and
/// errno, when the call fails; `pMostBytes` receives how many bytes it may move.
bool Allow(Op eOp, const Paths& vPath, std::size_t* pMostBytes = nullptr) {
    std::vector<std::function<void()>> vRun;
    std::shared_ptr<faultRule> pVerdict;
    for (const Locked state; const auto& pRule : state->vRule) {
        if (!pRule->Applies(eOp, vPath)) continue;
        if (pRule->run) vRun.push_back(pRule->run);
        if (!pRule->run && !pVerdict) pVerdict = pRule;
    }
    const int nError = errno;
    for (const auto& run : vRun) run();
    if (pVerdict && pMostBytes) *pMostBytes = pVerdict->nMostBytes;
    const bool bFails = pVerdict && pVerdict->nError != 0;
    errno = bFails ? pVerdict->nError : nError;
    return !bFails;
}

/// An entry of the table: asks the rules, then the system. What fails is closed all the same.
template <Op OP, auto ENTRY, typename = decltype(ENTRY)>
struct Asked;
template <Op OP, auto ENTRY, typename Result, typename... Args>
struct Asked<OP, ENTRY, Result (*OSL_Calls::*)(Args...)> {
    static Result Call(Args... args) {
        if (Allow(OP, PathsOf(args...))) return (OSL_SYSTEM_CALLS.*ENTRY)(args...);
        const int nError = errno;
        if constexpr (OP == Op::Close) (OSL_SYSTEM_CALLS.*ENTRY)(args...);
        errno = nError;
        if constexpr (std::is_pointer_v<Result>) {
            return nullptr;
        } else {
            return OP == Op::ThreadCreate ? nError : -1;
        }
    }
};

int Open(const char* pPath, int nFlags, mode_t nMode) {
    const int nFile = Asked<Op::Open, &OSL_Calls::pfnOpen>::Call(pPath, nFlags, nMode);
    if (nFile >= 0) Locked()->mPathOfFile[nFile] = Clean(pPath);
    return nFile;
}

ssize_t Write(int nFile, const void* pBuf, std::size_t nSize) {
    std::size_t nMostBytes = EVERYTHING;
    if (!Allow(Op::Write, PathsOf(nFile), &nMostBytes)) return -1;
    return OSL_SYSTEM_CALLS.pfnWrite(nFile, pBuf, std::min(nSize, nMostBytes));
}

int StatAt(int nDir, const char* pPath, struct stat* pStat, int nFlags) {
    const int nResult = Asked<Op::Stat, &OSL_Calls::pfnStatAt>::Call(nDir, pPath, pStat, nFlags);
    if (nResult == 0) Fake(&State::mDevice, PathsOf(nDir, pPath)[0], pStat->st_dev);
    return nResult;
}

struct dirent* ReadDir(DIR* pDir) {
    struct dirent* pEntry = Asked<Op::ReadDir, &OSL_Calls::pfnReadDir>::Call(pDir);
    if (pEntry && !Locked()->bShowTypes) pEntry->d_type = DT_UNKNOWN;
    return pEntry;
}

int StatVfs(const char* pPath, struct statvfs* pStat) {
    const int nResult = Asked<Op::StatVfs, &OSL_Calls::pfnStatVfs>::Call(pPath, pStat);
    if (nResult == 0 && Fake(&State::mFreeMiB, Clean(pPath), pStat->f_bavail)) {
        pStat->f_bfree = pStat->f_bavail;
        pStat->f_frsize = 1 << 20;
    }
    return nResult;
}

int Clock(clockid_t nClock, struct timespec* pTime) {
    const std::optional<std::int64_t> nNow = Locked()->nNow;
    if (!nNow) return OSL_SYSTEM_CALLS.pfnClock(nClock, pTime);
    *pTime = {static_cast<std::time_t>(*nNow / 1000), static_cast<long>(*nNow % 1000) * 1000000};
    return 0;
}

void Sleep(std::uint32_t nMilliseconds) {
    if (Locked()->bSleeps) OSL_SYSTEM_CALLS.pfnSleep(nMilliseconds);
}

const OSL_Calls g_faultyCalls = [] {
    OSL_Calls calls = OSL_SYSTEM_CALLS;
    calls.pfnOpen = Open;
    calls.pfnClose = Asked<Op::Close, &OSL_Calls::pfnClose>::Call;
    calls.pfnRead = Asked<Op::Read, &OSL_Calls::pfnRead>::Call;
    calls.pfnWrite = Write;
    calls.pfnTruncate = Asked<Op::Write, &OSL_Calls::pfnTruncate>::Call;
    calls.pfnSync = Asked<Op::Sync, &OSL_Calls::pfnSync>::Call;
    calls.pfnFileMode = Asked<Op::FileMode, &OSL_Calls::pfnFileMode>::Call;
    calls.pfnAccess = Asked<Op::Access, &OSL_Calls::pfnAccess>::Call;
    calls.pfnUnlinkAt = Asked<Op::Unlink, &OSL_Calls::pfnUnlinkAt>::Call;
    calls.pfnRename = Asked<Op::Rename, &OSL_Calls::pfnRename>::Call;
    calls.pfnStatAt = StatAt;
    calls.pfnReadDir = ReadDir;
    calls.pfnMakeDir = Asked<Op::MakeDir, &OSL_Calls::pfnMakeDir>::Call;
    calls.pfnRemoveDir = Asked<Op::RemoveDir, &OSL_Calls::pfnRemoveDir>::Call;
    calls.pfnStatVfs = StatVfs;
    calls.pfnSyncFileSystem = Asked<Op::Sync, &OSL_Calls::pfnSyncFileSystem>::Call;
    calls.pfnCanSync = Asked<Op::CanSync, &OSL_Calls::pfnCanSync>::Call;
    calls.pfnSyncData = Asked<Op::Sync, &OSL_Calls::pfnSyncData>::Call;
    calls.pfnReserve = Asked<Op::Reserve, &OSL_Calls::pfnReserve>::Call;
    calls.pfnLock = Asked<Op::Lock, &OSL_Calls::pfnLock>::Call;
    calls.pfnThreadCreate = Asked<Op::ThreadCreate, &OSL_Calls::pfnThreadCreate>::Call;
    calls.pfnClock = Clock;
    calls.pfnSleep = Sleep;
    return calls;
}();

std::shared_ptr<faultRule> Add(faultRule rule) {
    return Locked()->vRule.emplace_back(std::make_shared<faultRule>(std::move(rule)));
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
    if (std::exchange(Locked()->bInstalled, true)) throw std::logic_error("one at a time");
    g_pOslCalls.store(&g_faultyCalls);
}

CFaultInjection::~CFaultInjection() {
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
    *Locked().operator->() = State();
}

CFaultInjection::CRule& CFaultInjection::CRule::From(std::uint64_t n) {
    const Locked state;
    return m_p->nFrom = n, *this;
}

CFaultInjection::CRule& CFaultInjection::CRule::Times(std::uint64_t n) {
    const Locked state;
    return m_p->nTimes = n, *this;
}

std::uint64_t CFaultInjection::CRule::Seen() const {
    const Locked state;
    return m_p->nSeen;
}

CFaultInjection::CRule CFaultInjection::Fail(Op eOp, PathMatch match, int nError) {
    return CRule(Add({eOp, std::move(match), {}, nError, EVERYTHING}));
}

CFaultInjection::CRule CFaultInjection::ShortWrite(PathMatch match, std::size_t nBytes) {
    return CRule(Add({Op::Write, std::move(match), {}, 0, nBytes}));
}

CFaultInjection::CRule CFaultInjection::Before(Op eOp, PathMatch match, std::function<void()> run) {
    return CRule(Add({eOp, std::move(match), std::move(run), 0, EVERYTHING}));
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
    Locked()->vRule.clear();
}

void CFaultInjection::Reset() {
    *Locked().operator->() = {.bInstalled = true};
}

void CFaultInjection::SetFreeSpace(const std::string& strDir, std::uint64_t nMiB) {
    Locked()->mFreeMiB[Clean(strDir)] = nMiB;
}

void CFaultInjection::SetDevice(const std::string& strDir, std::uint64_t nDevice) {
    Locked()->mDevice[Clean(strDir)] = nDevice;
}

void CFaultInjection::ClearDevices() {
    Locked()->mDevice.clear();
}

void CFaultInjection::SetTime(std::time_t tSeconds, int nMilliseconds) {
    Locked()->nNow = std::int64_t{tSeconds} * 1000 + nMilliseconds;
}

void CFaultInjection::AdvanceTime(std::int64_t nMilliseconds) {
    *Locked()->nNow += nMilliseconds;
}

void CFaultInjection::SkipSleeps() {
    Locked()->bSleeps = false;
}

void CFaultInjection::ShowEntryTypes(bool bShow) {
    Locked()->bShowTypes = bShow;
}
