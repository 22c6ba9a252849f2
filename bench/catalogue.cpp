// A viewer's question to many hosts: one camera and one hour, of 200 record directories (50 hosts
// with four disks each, 10,000 cameras), against find over the same folders.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Ratio.h"

namespace {

namespace fs = std::filesystem;

constexpr int HOSTS = 50, DISKS = 4, CAMERAS = 10000 / HOSTS, DAYS = 4, HOURS = 2;

/// Each host has its cameras on all of its disks; a file of an hour lies on one of them.
class CHosts {
public:
    CHosts() : m_strPath(fs::temp_directory_path() / "catalogue-bench-XXXXXX") {
        if (!::mkdtemp(m_strPath.data())) std::abort();
        for (int nHost = 0; nHost < HOSTS; ++nHost) {
            for (int nDisk = 0; nDisk < DISKS; ++nDisk) MakeDisk(nHost, nDisk);
        }
    }
    ~CHosts() { fs::remove_all(m_strPath); }
    CHosts(const CHosts&) = delete;
    CHosts& operator=(const CHosts&) = delete;

    /// `strBefore` and its path, for every directory.
    std::string Dirs(const std::string& strBefore) const {
        std::string strDirs;
        for (int nHost = 0; nHost < HOSTS; ++nHost) {
            for (int nDisk = 0; nDisk < DISKS; ++nDisk) strDirs += strBefore + Dir(nHost, nDisk);
        }
        return strDirs;
    }

private:
    std::string Dir(int nHost, int nDisk) const {
        return m_strPath + "/" + std::to_string(nHost) + "-" + std::to_string(nDisk);
    }

    void MakeDisk(int nHost, int nDisk) {
        for (int nDay = 1; nDay <= DAYS; ++nDay) {
            for (int n = 0; n < CAMERAS; ++n) {
                const std::string strDay = "2024030" + std::to_string(nDay);
                const std::string strFolder = Dir(nHost, nDisk) + "/RecordFile/" + strDay +
                                              "/camera" + std::to_string(nHost * CAMERAS + n) + "/";
                fs::create_directories(strFolder);
                for (int nHour = nDisk; nHour < DISKS * HOURS; nHour += DISKS) {
                    std::ofstream(strFolder + strDay + "_0" + std::to_string(nHour) + "0000.mp4");
                }
            }
        }
    }

    std::string m_strPath;
};

double Run(const std::string& strCommand) {
    return SecondsOf([&] {
        if (std::system((strCommand + " > /dev/null").c_str()) != 0) std::abort();
    });
}

}  // namespace

int main(int argc, char** argv) {
    const CHosts hosts;
    const std::string strQuery = TOOL
                                 " query --camera camera4711 --from 2024-03-02T01:00:00 "
                                 "--to 2024-03-02T02:00:00" +
                                 hosts.Dirs(" --dir ");
    const std::string strFind = "find" + hosts.Dirs(" ");
    Ratio(
        "17", "the tool's query of one camera, 1 hour, in 200 record directories", "find",
        AtMost(0.05), [=] { return Run(strQuery); }, [=] { return Run(strFind); });
    return RunRatios(argc, argv);
}
