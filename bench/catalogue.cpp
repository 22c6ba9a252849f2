// A viewer's question to many hosts (one camera and one hour, of 50 hosts with four disks each and
// 10,000 cameras), and what one host has of one day, against find over the same folders; the latter
// also against the least that has to be read and told.

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>

#include "Ratio.h"

namespace {

namespace fs = std::filesystem;

std::string TwoDigits(int n) {
    return std::to_string(100 + n).substr(1);
}

/// Hosts that have their cameras on all of their disks; each file lies on one of them.
struct archive {
    int nHosts, nDisks, nCameras, nDays;
    int nFiles, nMinutes;  ///< of a day, each so long
};

class CArchive {
public:
    explicit CArchive(const archive& st)
        : m_st(st), m_strPath(fs::temp_directory_path() / "catalogue-bench-XXXXXX") {
        if (!::mkdtemp(m_strPath.data())) std::abort();
        for (int nDir = 0; nDir < st.nHosts * st.nDisks; ++nDir) MakeDir(nDir);
    }
    ~CArchive() { fs::remove_all(m_strPath); }
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;

    /// `strBefore` and its path, for every directory.
    std::string Dirs(const std::string& strBefore) const {
        std::string strDirs;
        for (int nDir = 0; nDir < m_st.nHosts * m_st.nDisks; ++nDir)
            strDirs += strBefore + Dir(nDir);
        return strDirs;
    }

private:
    std::string Dir(int nDir) const { return m_strPath + "/" + std::to_string(nDir); }

    void MakeDir(int nDir) const {
        for (int nDay = 1; nDay <= m_st.nDays; ++nDay) {
            const std::string strDay = "202403" + TwoDigits(nDay);
            for (int n = 0; n < m_st.nCameras; ++n) {
                const int nCamera = nDir / m_st.nDisks * m_st.nCameras + n;
                const std::string strFolder =
                    Dir(nDir) + "/RecordFile/" + strDay + "/camera" + std::to_string(nCamera) + "/";
                fs::create_directories(strFolder);
                for (int nFile = nDir % m_st.nDisks; nFile < m_st.nFiles; nFile += m_st.nDisks) {
                    MakeFile(strFolder + strDay, nDay, nFile * m_st.nMinutes);
                }
            }
        }
    }

    /// Last changed when the next one begins.
    void MakeFile(const std::string& strBegin, int nDay, int nMinute) const {
        const std::string strPath =
            strBegin + "_" + TwoDigits(nMinute / 60) + TwoDigits(nMinute % 60) + "00.mp4";
        std::ofstream(strPath) << "x";
        std::tm st = {};
        st.tm_year = 124, st.tm_mon = 2, st.tm_mday = nDay, st.tm_isdst = -1;
        st.tm_min = nMinute + m_st.nMinutes;
        const timespec aTimes[2] = {{std::mktime(&st), 0}, {std::mktime(&st), 0}};
        if (::utimensat(AT_FDCWD, strPath.c_str(), aTimes, 0) != 0) std::abort();
    }

    const archive m_st;
    std::string m_strPath;
};

/// No more than what has to be read and told of the recordings of a day.
double ListDay(const std::string& strDay) {
    std::ofstream os("/dev/null");
    return SecondsOf([&] {
        for (const fs::directory_entry& stCamera : fs::directory_iterator(strDay)) {
            DIR* const pDir = ::opendir(stCamera.path().c_str());
            while (const dirent* pEntry = ::readdir(pDir)) {
                struct stat st;
                if (::fstatat(::dirfd(pDir), pEntry->d_name, &st, 0) != 0) std::abort();
                os << stCamera.path().native() << '/' << pEntry->d_name << ' ' << st.st_size << ' '
                   << st.st_mtime << '\n';
            }
            ::closedir(pDir);
        }
        os.flush();
    });
}

double Run(const std::string& strCommand) {
    return SecondsOf([&] {
        if (std::system((strCommand + " > /dev/null").c_str()) != 0) std::abort();
    });
}

/// `baseline(dirs)`; `dirs(strBefore)` are the directories of the archive, which is made by then.
template <typename Baseline>
void Compare(const std::string& strNumber, const std::string& strWhat,
             const std::string& strBaseline, RatioGoal stGoal, const archive& stArchive,
             const std::string& strQuery, Baseline baseline) {
    const auto pArchive = std::make_shared<std::optional<CArchive>>();
    const auto dirs = [=](const std::string& strBefore) {
        if (!*pArchive) pArchive->emplace(stArchive);
        return (*pArchive)->Dirs(strBefore);
    };
    Ratio(
        strNumber, strWhat, strBaseline, stGoal,
        [=] { return Run(TOOL " query" + strQuery + dirs(" --dir ")); },
        [=] { return baseline(dirs); });
}

}  // namespace

int main(int argc, char** argv) {
    Compare("17", "the tool's query of one camera, 1 hour, in 200 record directories", "find",
            AtMost(0.05), {50, 4, 200, 4, 8, 60},
            " --camera camera4711 --from 2024-03-02T01:00:00 --to 2024-03-02T02:00:00",
            [](const auto& dirs) { return Run("find" + dirs(" ")); });
    const std::string strDay = "the tool's query of 64 cameras, 1 day of 10, 184,320 files";
    const archive stDay{1, 1, 64, 10, 288, 5};
    const std::string strQuery = " --from 2024-03-05 --to 2024-03-06";
    const std::string strPrint = " -printf '%p %s %T@\\n'";  // tells as much of each file
    Compare("17b", strDay, "find" + strPrint, AtMost(0.2), stDay, strQuery,
            [=](const auto& dirs) { return Run("find" + dirs(" ") + strPrint); });
    Compare("17b", strDay, "readdir, fstatat and write of that day's files", AtMost(3), stDay,
            strQuery, [](const auto& dirs) { return ListDay(dirs("") + "/RecordFile/20240305"); });
    return RunRatios(argc, argv);
}
