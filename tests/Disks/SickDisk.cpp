// A disk that hangs when it is told to: a directory passed through FUSE.
//     sick_disk DIRECTORY MOUNT_POINT GATES
// runs until it is killed. While a named pipe stands in the folder GATES, the operation of its name
// (see below) hangs, until somebody opens the pipe for writing. Stopped by SIGSTOP all hang;
// killed, whoever waits gets an error. Calls do not wait for each other.

#define FUSE_USE_VERSION 312

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <fuse3/fuse.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

using File = fuse_file_info;

const char* g_pDirectory;  // where the process works
std::string g_strGates;

const char* Below(const char* pPath) {
    return pPath[1] ? pPath + 1 : ".";
}

/// Carries an operation out when its gate is open; `call` does as system calls do.
template <typename Call>
int Do(const char* pOperation, Call call) {
    const int nGate = ::open((g_strGates + "/" + pOperation).c_str(), O_RDONLY);
    if (nGate >= 0) ::close(nGate);
    const auto nResult = call();
    return nResult < 0 ? -errno : static_cast<int>(nResult);
}
/// The same for an open file.
template <typename Call>
int Do(const char* pOperation, const File* pFile, Call call) {
    return Do(pOperation, [&] { return call(static_cast<int>(pFile->fh)); });
}

int Open(const char* pOperation, const char* pPath, File* pFile, mode_t nMode) {
    return Do(pOperation, [&] {
        const int nFile = ::open(Below(pPath), pFile->flags, nMode);
        pFile->fh = static_cast<std::uint64_t>(nFile);
        return std::min(nFile, 0);
    });
}

int List(int nFile, void* pList, fuse_fill_dir_t fill) {
    DIR* const pDir = ::fdopendir(::openat(nFile, ".", O_RDONLY));
    if (!pDir) return -1;
    while (const dirent* pEntry = ::readdir(pDir)) {
        fill(pList, pEntry->d_name, nullptr, 0, fuse_fill_dir_flags());
    }
    return ::closedir(pDir);
}

fuse_operations Operations() {
    fuse_operations st = {};
    st.init = [](fuse_conn_info*, fuse_config* pConfig) -> void* {
        pConfig->use_ino = pConfig->hard_remove = pConfig->nullpath_ok = 1;
        pConfig->attr_timeout = pConfig->entry_timeout = pConfig->negative_timeout = 0;
        if (::chdir(g_pDirectory) != 0) ::_exit(1);
        return nullptr;
    };
    st.statfs = [](const char*, struct statvfs* pStat) {
        return Do("statfs", [=] { return ::statvfs(".", pStat); });
    };
    st.getattr = [](const char* p, struct stat* pStat, File* pFile) {
        return Do("getattr", [=] {
            return pFile ? ::fstat(static_cast<int>(pFile->fh), pStat) : ::lstat(Below(p), pStat);
        });
    };
    st.chmod = [](const char*, mode_t, File*) { return Do("chmod", [] { return 0; }); };
    st.mkdir = [](const char* p, mode_t nMode) {
        return Do("mkdir", [=] { return ::mkdir(Below(p), nMode); });
    };
    st.unlink = [](const char* p) { return Do("unlink", [=] { return ::unlink(Below(p)); }); };
    st.rmdir = [](const char* p) { return Do("rmdir", [=] { return ::rmdir(Below(p)); }); };
    st.rename = [](const char* pFrom, const char* pTo, unsigned) {
        return Do("rename", [=] { return ::rename(Below(pFrom), Below(pTo)); });
    };
    st.opendir = [](const char* p, File* pFile) { return Open("opendir", p, pFile, 0); };
    st.readdir = [](const char*, void* pList, fuse_fill_dir_t fill, off_t, File* pFile,
                    fuse_readdir_flags) {
        return Do("readdir", pFile, [=](int n) { return List(n, pList, fill); });
    };
    st.open = [](const char* p, File* pFile) { return Open("open", p, pFile, 0); };
    st.create = [](const char* p, mode_t nMode, File* pFile) {
        return Open("create", p, pFile, nMode);
    };
    st.read = [](const char*, char* pBuf, size_t nSize, off_t nPos, File* pFile) {
        return Do("read", pFile, [=](int n) { return ::pread(n, pBuf, nSize, nPos); });
    };
    st.write = [](const char*, const char* pBuf, size_t nSize, off_t nPos, File* pFile) {
        return Do("write", pFile, [=](int n) { return ::pwrite(n, pBuf, nSize, nPos); });
    };
    st.truncate = [](const char*, off_t nSize, File* pFile) {
        return Do("truncate", pFile, [=](int n) { return ::ftruncate(n, nSize); });
    };
    st.fallocate = [](const char*, int nMode, off_t nPos, off_t nSize, File* pFile) {
        return Do("fallocate", pFile, [=](int n) { return ::fallocate(n, nMode, nPos, nSize); });
    };
    st.flock = [](const char*, File* pFile, int nOperation) {
        return Do("flock", pFile, [=](int n) { return ::flock(n, nOperation); });
    };
    st.fsync =
        st.fsyncdir = [](const char*, int, File* pFile) { return Do("fsync", pFile, ::fsync); };
    st.flush = [](const char*, File* pFile) { return Do("flush", pFile, [](int) { return 0; }); };
    st.release =
        st.releasedir = [](const char*, File* pFile) { return Do("release", pFile, ::close); };
    return st;
}

}  // namespace

int main(int nArguments, char** argv) {
    if (nArguments != 4) return 2;
    g_pDirectory = argv[1];
    g_strGates = argv[3];
    ::umask(0);
    const char* const pArguments[] = {
        argv[0], argv[2], "-f", "-o",
        "fsname=sick_disk,allow_other,default_permissions,max_threads=256"};
    const fuse_operations stOperations = Operations();
    return fuse_main(5, const_cast<char**>(pArguments), &stOperations, nullptr);
}
