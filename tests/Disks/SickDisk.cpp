// A disk that hangs, errs, is slow or full when it is told to: a directory passed through FUSE.
//     sick_disk DIRECTORY MOUNT_POINT CONTROL
// runs until it is killed. CONTROL is a named pipe that it makes; each line written there is one of
//     hang OPERATION PATTERN [N]           until "go"
//     delay=MS OPERATION PATTERN [N]
//     fail=ERRNO OPERATION PATTERN [N]
//     free=MIB                             the free space that it claims to have; 0: the true one
//     go                                   no rule holds any more, and what hangs goes on
// OPERATION is one of the names below or *, PATTERN that of a path below the mount point (/*.mp4),
// N means the n-th such call from now on instead of every one; the first rule that holds counts.
// Each call that a rule holds for is told on standard output. Stopped by SIGSTOP it hangs
// altogether; killed, whoever waits for it gets an error. Calls do not wait for each other.

#define FUSE_USE_VERSION 312

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fstream>
#include <fuse3/fuse.h>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::string g_strDirectory;

std::string Below(const char* pPath) {
    return g_strDirectory + pPath;
}

// ---- Rules ----

struct CRule {
    std::string strFault, strOperation, strPattern;
    int nValue = 0;  // ms, or an error number
    int nCall = 0;   // 0: every one
    int nCalls = 0;
};

std::mutex g_mtx;
std::condition_variable g_go;
std::vector<CRule> g_vRules;
unsigned g_nGeneration = 0;  // of rules: goes up with every "go"
std::uint64_t g_nFreeMiB = 0;

/// What a call has to return; 0: it is carried out.
int Meet(const std::string& strOperation, const char* pPath) {
    std::unique_lock<std::mutex> lock(g_mtx);
    const auto Holds = [&](CRule& rule) {
        return (rule.strOperation == "*" || rule.strOperation == strOperation) &&
               ::fnmatch(rule.strPattern.c_str(), pPath ? pPath : "", 0) == 0 &&
               (++rule.nCalls == rule.nCall || rule.nCall == 0);
    };
    const auto itRule = std::find_if(g_vRules.begin(), g_vRules.end(), Holds);
    if (itRule == g_vRules.end()) return 0;
    const CRule rule = *itRule;
    std::cout << rule.strFault << ' ' << strOperation << ' ' << (pPath ? pPath : "") << std::endl;
    if (rule.strFault == "fail") return -rule.nValue;
    const auto IsGone = [nGeneration = g_nGeneration] { return g_nGeneration != nGeneration; };
    if (rule.strFault == "delay") {
        g_go.wait_for(lock, std::chrono::milliseconds(rule.nValue), IsGone);
    } else {
        g_go.wait(lock, IsGone);
    }
    return 0;
}

void Obey(const std::string& strLine) {
    CRule rule;
    std::istringstream line(strLine);
    line >> rule.strFault >> rule.strOperation >> rule.strPattern >> rule.nCall;
    if (const auto nEqual = rule.strFault.find('='); nEqual != std::string::npos) {
        rule.nValue = std::atoi(rule.strFault.c_str() + nEqual + 1);
        rule.strFault.resize(nEqual);
    }
    const std::lock_guard<std::mutex> guard(g_mtx);
    if (rule.strFault == "free") {
        g_nFreeMiB = static_cast<std::uint64_t>(rule.nValue);
    } else if (rule.strFault == "go") {
        g_vRules.clear();
        ++g_nGeneration;
        g_go.notify_all();
    } else {
        g_vRules.push_back(rule);
    }
}

void ObeyAll(const std::string& strControl) {
    std::fstream control(strControl);  // for writing too, so that it never ends
    for (std::string strLine; std::getline(control, strLine);) Obey(strLine);
}

// ---- Operations ----

/// Carries an operation out, unless a rule is against it; `call` does as system calls do.
template <typename Call>
int Do(const char* pOperation, const char* pPath, Call call) {
    if (const int nFault = Meet(pOperation, pPath)) return nFault;
    const auto nResult = call();
    return nResult < 0 ? -errno : static_cast<int>(nResult);
}

/// An open file, with the path that it was opened by.
struct CFile {
    int nHandle;
    std::string strPath;
    std::uint64_t nLockOwner = 0;
};

CFile& Opened(const fuse_file_info* pFile) {
    return *reinterpret_cast<CFile*>(pFile->fh);
}

/// The same for an open file; `call` gets its handle.
template <typename Call>
int Do(const char* pOperation, const fuse_file_info* pFile, Call call) {
    const CFile& file = Opened(pFile);
    return Do(pOperation, file.strPath.c_str(), [&] { return call(file.nHandle); });
}

int OpenFile(const char* pOperation, const char* pPath, fuse_file_info* pFile, mode_t nMode) {
    return Do(pOperation, pPath, [&] {
        const int nHandle = ::open(Below(pPath).c_str(), pFile->flags, nMode);
        if (nHandle >= 0) pFile->fh = reinterpret_cast<std::uint64_t>(new CFile{nHandle, pPath});
        return std::min(nHandle, 0);
    });
}

int StatFs(const char* pPath, struct statvfs* pStat) {
    return Do("statfs", pPath, [&] {
        const int nResult = ::statvfs(Below(pPath).c_str(), pStat);
        const std::lock_guard<std::mutex> guard(g_mtx);
        if (g_nFreeMiB != 0) {
            pStat->f_bfree = pStat->f_bavail = (g_nFreeMiB << 20) / pStat->f_frsize;
            pStat->f_blocks = std::max(pStat->f_blocks, pStat->f_bfree);
        }
        return nResult;
    });
}

int ReadDir(const char*, void* pList, fuse_fill_dir_t fill, off_t, fuse_file_info* pDir,
            fuse_readdir_flags) {
    return Do("readdir", pDir, [&](int nHandle) {
        DIR* const pStream = ::fdopendir(::dup(nHandle));
        if (!pStream) return -1;
        ::rewinddir(pStream);
        while (const dirent* pEntry = ::readdir(pStream)) {
            fill(pList, pEntry->d_name, nullptr, 0, fuse_fill_dir_flags());
        }
        return ::closedir(pStream);
    });
}

/// Of a file or a folder.
int Close(const char*, fuse_file_info* pFile) {
    const std::unique_ptr<CFile> pOpened(&Opened(pFile));
    return Do("release", pFile, ::close);
}

int Sync(const char*, int bData, fuse_file_info* pFile) {
    return Do("fsync", pFile, bData ? ::fdatasync : ::fsync);
}

/// By open file, since all the locks below are this one process's. Whoever closes a file that it
/// has from another process must not unlock it.
int Lock(const char*, fuse_file_info* pFile, int nCommand, struct flock* pLock) {
    return Do("lock", pFile, [&](int nHandle) {
        CFile& file = Opened(pFile);
        if (pFile->flush && file.nLockOwner != pFile->lock_owner) return 0;
        if (nCommand != F_GETLK) file.nLockOwner = pFile->lock_owner;
        pLock->l_pid = 0;
        return ::fcntl(nHandle,
                       nCommand == F_GETLK   ? F_OFD_GETLK
                       : nCommand == F_SETLK ? F_OFD_SETLK
                                             : F_OFD_SETLKW,
                       pLock);
    });
}

using File = fuse_file_info;

fuse_operations Operations() {
    fuse_operations st = {};
    st.init = [](fuse_conn_info*, fuse_config* pConfig) -> void* {
        pConfig->use_ino = pConfig->hard_remove = pConfig->nullpath_ok = 1;
        pConfig->attr_timeout = pConfig->entry_timeout = pConfig->negative_timeout = 0;
        return nullptr;
    };
    st.statfs = StatFs;
    st.readdir = ReadDir;
    st.lock = Lock;
    st.open = [](const char* p, File* pFile) { return OpenFile("open", p, pFile, 0); };
    st.opendir = [](const char* p, File* pDir) { return OpenFile("opendir", p, pDir, 0); };
    st.create = [](const char* p, mode_t nMode, File* pFile) {
        return OpenFile("create", p, pFile, nMode);
    };
    st.getattr = [](const char* p, struct stat* pStat, File* pFile) {
        return pFile ? Do("getattr", pFile, [&](int n) { return ::fstat(n, pStat); })
                     : Do("getattr", p, [&] { return ::lstat(Below(p).c_str(), pStat); });
    };
    st.chmod = [](const char* p, mode_t nMode, File* pFile) {
        return pFile ? Do("chmod", pFile, [&](int n) { return ::fchmod(n, nMode); })
                     : Do("chmod", p, [&] { return ::chmod(Below(p).c_str(), nMode); });
    };
    st.truncate = [](const char* p, off_t nSize, File* pFile) {
        return pFile ? Do("truncate", pFile, [&](int n) { return ::ftruncate(n, nSize); })
                     : Do("truncate", p, [&] { return ::truncate(Below(p).c_str(), nSize); });
    };
    st.mkdir = [](const char* p, mode_t nMode) {
        return Do("mkdir", p, [&] { return ::mkdir(Below(p).c_str(), nMode); });
    };
    st.unlink = [](const char* p) {
        return Do("unlink", p, [&] { return ::unlink(Below(p).c_str()); });
    };
    st.rmdir = [](const char* p) {
        return Do("rmdir", p, [&] { return ::rmdir(Below(p).c_str()); });
    };
    st.rename = [](const char* pFrom, const char* pTo, unsigned nFlags) {
        return Do("rename", pFrom, [&] {
            return ::renameat2(AT_FDCWD, Below(pFrom).c_str(), AT_FDCWD, Below(pTo).c_str(),
                               nFlags);
        });
    };
    st.read = [](const char*, char* pBuf, size_t nSize, off_t nOffset, File* pFile) {
        return Do("read", pFile, [&](int n) { return ::pread(n, pBuf, nSize, nOffset); });
    };
    st.write = [](const char*, const char* pBuf, size_t nSize, off_t nOffset, File* pFile) {
        return Do("write", pFile, [&](int n) { return ::pwrite(n, pBuf, nSize, nOffset); });
    };
    st.flush = [](const char*, File* pFile) {
        return Do("flush", pFile, [](int n) { return ::close(::dup(n)); });
    };
    st.release = st.releasedir = Close;
    st.fsync = st.fsyncdir = Sync;
    st.flock = [](const char*, File* pFile, int nOperation) {
        return Do("flock", pFile, [&](int n) { return ::flock(n, nOperation); });
    };
    st.fallocate = [](const char*, int nMode, off_t nOffset, off_t nSize, File* pFile) {
        return Do("fallocate", pFile, [&](int n) { return ::fallocate(n, nMode, nOffset, nSize); });
    };
    return st;
}

}  // namespace

int main(int nArguments, char** argv) {
    if (nArguments != 4) return 2;
    g_strDirectory = argv[1];
    ::umask(0);
    if (::mkfifo(argv[3], 0600) != 0) {
        std::cerr << "sick_disk: cannot make " << argv[3] << '\n';
        return 1;
    }
    std::thread(ObeyAll, std::string(argv[3])).detach();
    const char* const pArguments[] = {
        argv[0], argv[2], "-f", "-o",
        "fsname=sick_disk,allow_other,default_permissions,max_threads=256"};
    const fuse_operations stOperations = Operations();
    return fuse_main(5, const_cast<char**>(pArguments), &stOperations, nullptr);
}
