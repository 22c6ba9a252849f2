// A disk that hangs when it is told to, and one that fills up: both in memory.

#ifndef LOCALSTORAGE_TESTS_DISKS_SICKDISK_H
#define LOCALSTORAGE_TESTS_DISKS_SICKDISK_H

#include <csignal>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "Support/Test.h"

/// The program of SickDisk.cpp.
inline const char* g_pSickDisk;

inline void Check(bool bDone, const std::string& strWhat) {
    if (!bDone) throw std::system_error(errno, std::generic_category(), strWhat);
}

/// In memory, and as full as it is told.
class CGoodDisk {
public:
    explicit CGoodDisk(const std::string& strPath) : m_strPath(strPath) {
        fs::create_directory(strPath);
        Check(::mount("tmpfs", strPath.c_str(), "tmpfs", 0, nullptr) == 0, strPath);
        SetFull(false);
    }
    ~CGoodDisk() { ::umount2(m_strPath.c_str(), MNT_DETACH); }

    const std::string& Path() const { return m_strPath; }
    /// An old recording that is deleted makes room again.
    void SetFull(bool bFull) const {
        const auto stSpace = fs::space(m_strPath);
        const auto nMiB = ((stSpace.capacity - stSpace.free) >> 20) + (bFull ? 2044 : 100000);
        const std::string strSize = "size=" + std::to_string(nMiB) + "m";
        Check(::mount("", m_strPath.c_str(), "", MS_REMOUNT, strSize.c_str()) == 0, strSize);
    }

private:
    const std::string m_strPath;
};

/// Such a disk behind the program.
class CSickDisk {
public:
    explicit CSickDisk(const CTempDir& dir)
        : m_strPath(dir / "sick"), m_strGates(dir / "gates/"), m_behind(dir / "behind") {
        fs::create_directory(m_strPath);
        fs::create_directory(m_strGates);
        m_nProgram = ::fork();
        if (m_nProgram == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);  // FUSE prints warnings
            ::execl(g_pSickDisk, g_pSickDisk, m_behind.Path().c_str(), m_strPath.c_str(),
                    m_strGates.c_str(), nullptr);
            ::_exit(1);
        }
        struct stat st = {}, stAbove = {};
        ::stat(dir.Path().c_str(), &stAbove);
        const auto isMounted = [&] {
            return ::stat(m_strPath.c_str(), &st) == 0 && st.st_dev != stAbove.st_dev;
        };
        Check(Await(isMounted), m_strPath);
    }
    ~CSickDisk() {
        ::kill(m_nProgram, SIGKILL);
        ::waitpid(m_nProgram, nullptr, 0);
        ::umount2(m_strPath.c_str(), MNT_DETACH);
    }

    const std::string& Path() const { return m_strPath; }
    const CGoodDisk& Behind() const { return m_behind; }
    void Hang(const std::string& strFault) const {
        const bool bDone = strFault == "all" ? ::kill(m_nProgram, SIGSTOP) == 0
                                             : ::mkfifo((m_strGates + strFault).c_str(), 0600) == 0;
        Check(bDone, strFault);
    }
    /// For good.
    void Fail() const { Check(::kill(m_nProgram, SIGKILL) == 0, "kill"); }
    /// The pipes stay open: whoever is about to wait for one must find it so.
    void GoOn() const {
        ::kill(m_nProgram, SIGCONT);
        for (const auto& entry : fs::directory_iterator(m_strGates)) {
            Check(::open(entry.path().c_str(), O_RDWR | O_CLOEXEC) >= 0, entry.path());
            fs::remove(entry);
        }
    }

private:
    const std::string m_strPath, m_strGates;
    const CGoodDisk m_behind;
    pid_t m_nProgram;
};

#endif  // LOCALSTORAGE_TESTS_DISKS_SICKDISK_H
