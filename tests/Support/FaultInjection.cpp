#include "Support/FaultInjection.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

#include "Osl/OslCalls.h"
#include "Support/AllocationFault.h"

using Paths = std::vector<std::string>;

std::string CleanPath(const std::string& strPath) {
    std::string strClean = std::filesystem::path(strPath).lexically_normal();
    if (strClean.size() > 1 && strClean.back() == '/') strClean.pop_back();
    return strClean;
}

namespace {

bool IsBelow(const std::string& strPath, const std::string& strDir) {
    return strPath == strDir || strDir == "/" || strPath.starts_with(strDir + "/");
}

/// Overwrites `nValue` with what has been set for the longest directory that holds the path, which
/// of all that do sorts last; false when nothing has.
bool Fake(faultState::ValueOfDir faultState::*pValues, const std::string& strPath, auto& nValue) {
    const CLockedFaults state;
    const auto& mValue = CLockedFaults::s_state.*pValues;
    const auto it = std::find_if(mValue.rbegin(), mValue.rend(),
                                 [&](const auto& pair) { return IsBelow(strPath, pair.first); });
    if (it != mValue.rend()) nValue = it->second;
    return it != mValue.rend();
}

std::string PathOf(int nFile) {
    return CLockedFaults()->mPathOfFile[nFile];
}

// The paths that a call is about, from its arguments.
Paths PathsOf(const char* pFrom, const char* pTo) {
    return {CleanPath(pFrom), CleanPath(pTo)};
}
Paths PathsOf(const char* pPath, auto...) {
    return {CleanPath(pPath)};
}
Paths PathsOf(int nDir, const char* pPath, auto...) {
    const bool bInDir = nDir != AT_FDCWD && pPath[0] != '/';
    return {CleanPath(bInDir ? PathOf(nDir) + "/" + pPath : std::string(pPath))};
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
    const CUncounted uncounted;
    std::vector<std::function<void()>> vRun;
    std::shared_ptr<faultRule> pVerdict;
    for (const CLockedFaults state; const auto& pRule : state->vRule) {
        const bool bMeant = pRule->eOp == eOp || pRule->eOp == Op::Any;
        if (!bMeant || std::none_of(vPath.begin(), vPath.end(), pRule->match)) continue;
        if (++pRule->nSeen < pRule->nFrom || pRule->nSeen - pRule->nFrom >= pRule->nTimes) continue;
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
        const CUncounted uncounted;
        if (Allow(OP, PathsOf(args...))) return (OSL_SYSTEM_CALLS.*ENTRY)(args...);
        const int nError = errno;
        if constexpr (OP == Op::Close || OP == Op::CloseDir) (OSL_SYSTEM_CALLS.*ENTRY)(args...);
        errno = nError;
        if constexpr (std::is_pointer_v<Result>) {
            return nullptr;
        } else {
            return OP == Op::ThreadCreate ? nError : -1;
        }
    }
};

int Open(const char* pPath, int nFlags, mode_t nMode) {
    const CUncounted uncounted;
    const int nFile = Asked<Op::Open, &OSL_Calls::pfnOpen>::Call(pPath, nFlags, nMode);
    if (nFile >= 0) CLockedFaults()->mPathOfFile[nFile] = CleanPath(pPath);
    return nFile;
}

int Duplicate(int nFile) {
    const CUncounted uncounted;
    const int nNew = Asked<Op::Duplicate, &OSL_Calls::pfnDuplicate>::Call(nFile);
    if (nNew >= 0) CLockedFaults()->mPathOfFile[nNew] = PathOf(nFile);
    return nNew;
}

ssize_t Write(int nFile, const void* pBuf, std::size_t nSize) {
    const CUncounted uncounted;
    std::size_t nMostBytes = SIZE_MAX;
    if (!Allow(Op::Write, PathsOf(nFile), &nMostBytes)) return -1;
    return OSL_SYSTEM_CALLS.pfnWrite(nFile, pBuf, std::min(nSize, nMostBytes));
}

int StatAt(int nDir, const char* pPath, struct stat* pStat, int nFlags) {
    const CUncounted uncounted;
    const int nResult = Asked<Op::Stat, &OSL_Calls::pfnStatAt>::Call(nDir, pPath, pStat, nFlags);
    if (nResult == 0) Fake(&faultState::mDevice, PathsOf(nDir, pPath)[0], pStat->st_dev);
    return nResult;
}

// In memory, too, where tests work but nothing is reserved otherwise.
int Reserve(int nFile, off_t nLength) {
    const CUncounted uncounted;
    struct stat stStat;
    if (!Allow(Op::Reserve, PathsOf(nFile)) || ::fstat(nFile, &stStat) != 0) return -1;
    return ::fallocate(nFile, FALLOC_FL_KEEP_SIZE, stStat.st_size, nLength);
}

struct dirent* ReadDir(DIR* pDir) {
    struct dirent* pEntry = Asked<Op::ReadDir, &OSL_Calls::pfnReadDir>::Call(pDir);
    if (pEntry && !CLockedFaults()->bShowTypes) pEntry->d_type = DT_UNKNOWN;
    return pEntry;
}

int StatVfs(const char* pPath, struct statvfs* pStat) {
    const CUncounted uncounted;
    const int nResult = Asked<Op::StatVfs, &OSL_Calls::pfnStatVfs>::Call(pPath, pStat);
    if (nResult == 0 && Fake(&faultState::mFreeMiB, CleanPath(pPath), pStat->f_bavail)) {
        pStat->f_bfree = pStat->f_bavail;
        pStat->f_frsize = 1 << 20;
    }
    return nResult;
}

int Clock(clockid_t nClock, struct timespec* pTime) {
    const CLockedFaults state;
    if (!state->nNow) return OSL_SYSTEM_CALLS.pfnClock(nClock, pTime);
    const std::int64_t nNow = *state->nNow + (nClock == CLOCK_REALTIME ? state->nStep : 0);
    *pTime = {static_cast<std::time_t>(nNow / 1000), static_cast<long>(nNow % 1000) * 1000000};
    return 0;
}

void Sleep(std::uint32_t nMilliseconds) {
    if (CLockedFaults()->bSleeps) OSL_SYSTEM_CALLS.pfnSleep(nMilliseconds);
}

const OSL_Calls g_faultyCalls = [] {
    OSL_Calls calls = OSL_SYSTEM_CALLS;
    calls.pfnOpen = Open;
    calls.pfnDuplicate = Duplicate;
    calls.pfnRead = Asked<Op::Other, &OSL_Calls::pfnRead>::Call;
    calls.pfnSeek = Asked<Op::Other, &OSL_Calls::pfnSeek>::Call;
    calls.pfnOpenDir = Asked<Op::OpenDir, &OSL_Calls::pfnOpenDir>::Call;
    calls.pfnCloseDir = Asked<Op::CloseDir, &OSL_Calls::pfnCloseDir>::Call;
    calls.pfnLock = Asked<Op::Other, &OSL_Calls::pfnLock>::Call;
    calls.pfnClose = Asked<Op::Close, &OSL_Calls::pfnClose>::Call;
    calls.pfnWrite = Write;
    calls.pfnTruncate = Asked<Op::Truncate, &OSL_Calls::pfnTruncate>::Call;
    calls.pfnSync = Asked<Op::Sync, &OSL_Calls::pfnSync>::Call;
    calls.pfnFileMode = Asked<Op::Other, &OSL_Calls::pfnFileMode>::Call;
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
    calls.pfnReserve = Reserve;
    calls.pfnThreadCreate = Asked<Op::ThreadCreate, &OSL_Calls::pfnThreadCreate>::Call;
    calls.pfnClock = Clock;
    calls.pfnSleep = Sleep;
    return calls;
}();

}  // namespace

PathMatch Any() {
    return [](const std::string&) { return true; };
}

PathMatch Is(const std::string& strPath) {
    return [strWanted = CleanPath(strPath)](const std::string& str) { return str == strWanted; };
}

PathMatch Below(const std::string& strDir) {
    return
        [strWanted = CleanPath(strDir)](const std::string& str) { return IsBelow(str, strWanted); };
}

PathMatch Ends(const std::string& strSuffix) {
    return [strSuffix](const std::string& str) { return str.ends_with(strSuffix); };
}

CFaultInjection::CFaultInjection() {
    if (g_pOslCalls.exchange(&g_faultyCalls) == &g_faultyCalls)
        throw std::logic_error("one too many");
}

CFaultInjection::~CFaultInjection() {
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
    Reset();
}
