#include "Disks/Disk.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

void Check(bool bDone, const std::string& strWhat) {
    if (!bDone) throw std::system_error(errno, std::generic_category(), strWhat);
}

/// Makes a file longer by so many bytes; false when there is no room for them.
bool Extend(const std::string& strPath, std::uint64_t nBytes) {
    const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT, 0644);
    if (nFile < 0) return false;
    const bool bDone =
        ::fallocate(nFile, 0, ::lseek(nFile, 0, SEEK_END), static_cast<off_t>(nBytes)) == 0;
    ::close(nFile);
    return bDone;
}

/// Cut first: xfs gives the room of a removed file back a little later.
void Remove(const std::string& strPath) {
    ::truncate(strPath.c_str(), 0);
    ::unlink(strPath.c_str());
}

}  // namespace

CDisk::CDisk(const std::string& strPath) : m_strPath(strPath) {
    std::ifstream mounts("/proc/self/mounts");
    for (std::string strLine; std::getline(mounts, strLine);) {
        std::istringstream fields(strLine);
        std::string strDevice, strMountPoint, strType;
        fields >> strDevice >> strMountPoint >> strType;
        if (strMountPoint != strPath) continue;
        m_strDevice = strDevice;
        m_strType = strType;
    }
    if (m_strDevice.empty()) throw std::runtime_error(strPath + " is no disk");
    m_nDevice = ::open(m_strDevice.c_str(), O_RDONLY | O_CLOEXEC);
    Check(m_nDevice >= 0, m_strDevice);
}

CDisk::~CDisk() {
    ::close(m_nDevice);
}

void CDisk::Clear() const {
    for (const auto& entry : fs::recursive_directory_iterator(m_strPath))
        if (entry.is_regular_file()) Remove(entry.path());
    for (const auto& entry : fs::directory_iterator(m_strPath))
        if (entry.path().filename() != "lost+found") fs::remove_all(entry.path());
}

std::uint64_t CDisk::Free() const {
    struct statvfs stStat;
    Check(::statvfs(m_strPath.c_str(), &stStat) == 0, "statvfs");
    return std::uint64_t{stStat.f_bfree} * stStat.f_frsize;
}

// In ever smaller steps, since a file system needs some of its room for itself.
void CDisk::LeaveFree(std::uint64_t nBytes) const {
    const std::string strFiller = *this / "filler";
    Remove(strFiller);
    std::uint64_t nStep = Free();
    if (nStep < nBytes) throw std::runtime_error(m_strPath + " is too small");
    for (nStep -= nBytes; nStep >= 4096; nStep /= 2) {
        while (Free() >= nBytes + nStep && Extend(strFiller, nStep)) {
        }
    }
}

void CDisk::Remount(unsigned long nFlags) const {
    Check(::mount("", m_strPath.c_str(), "", MS_REMOUNT | nFlags, nullptr) == 0, "remount");
}

void CDisk::Pull() const {
    Check(::umount2(m_strPath.c_str(), MNT_DETACH) == 0, "umount");
}

void CDisk::PutBack() const {
    Check(::mount(m_strDevice.c_str(), m_strPath.c_str(), m_strType.c_str(), 0, nullptr) == 0,
          "mount " + m_strDevice);
}

void CDisk::Break() const {
    const int nDir = ::open(m_strPath.c_str(), O_RDONLY | O_DIRECTORY);
    std::uint32_t nSyncFirst = 0;  // what was written before stays written
    constexpr unsigned long SHUTDOWN = _IOR('X', 125, std::uint32_t);  // ext4 and xfs share it
    Check(::ioctl(nDir, SHUTDOWN, &nSyncFirst) == 0, "shutdown of the file system");
    ::close(nDir);
}

void PutFileOf(const std::string& strPath, std::uint64_t nBytes) {
    fs::create_directories(fs::path(strPath).parent_path());
    Check(Extend(strPath, nBytes), strPath);
}
