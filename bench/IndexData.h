// Record directories for the benchmarks of the index: 64 cameras, each with as many recordings a
// day, for some days of January 2024. They lie below the system's temporary directory and go with
// the process.

#ifndef LOCALSTORAGE_BENCH_INDEXDATA_H
#define LOCALSTORAGE_BENCH_INDEXDATA_H

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/RecDirName.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"
#include "localstorage/LocalStorageLog.h"

constexpr int CAMERAS = 64;

inline indexLevel2Body Camera(int nCamera) {
    indexLevel2Body stChannel;
    ConvertStrChannelToIndexLevel2Body("camera" + std::to_string(nCamera) + "_1_0", stChannel);
    return stChannel;
}

inline fileTimeInfo TimeOfDay(int nDay, int nSecond) {
    return {2024,
            1,
            static_cast<std::uint8_t>(nDay + 1),
            static_cast<std::uint8_t>(nSecond / 3600),
            static_cast<std::uint8_t>(nSecond / 60 % 60),
            static_cast<std::uint8_t>(nSecond % 60),
            0};
}

/// How many days, and how many recordings of a camera a day.
struct IndexSize {
    int nDays;
    int nFiles;

    int Count() const { return CAMERAS * nDays * nFiles; }
    /// The n-th recording of a camera on a day. It is three seconds shorter than its share of the
    /// day, so there is room for one more behind it.
    indexLevel3Body File(int nDay, int n) const { return Piece(nDay, n, 0, -3); }
    /// The one more.
    indexLevel3Body FileBehind(int nDay, int n) const {
        return Piece(nDay, n, 86400 / nFiles - 2, -1);
    }

private:
    indexLevel3Body Piece(int nDay, int n, int nFrom, int nTo) const {
        const int nShare = 86400 / nFiles;
        indexLevel3Body stFile;
        stFile.stStartTime = TimeOfDay(nDay, n * nShare + nFrom);
        stFile.stEndTime = TimeOfDay(nDay, (n + 1) * nShare + nTo);
        stFile.enumRecFileType = REC_FILE_TYPE_1;
        return stFile;
    }
};

constexpr IndexSize LARGE = {30, 521};  // 1,000,320 recordings
constexpr IndexSize SMALL = {1, 156};   // 9,984
constexpr IndexSize TREE = {25, 125};   // 200,000

/// A directory that goes with this object.
class CBenchDir {
public:
    CBenchDir() {
        DisableTarget(LOG_TARGET_FILE);
        m_strPath = std::filesystem::temp_directory_path() / "index-bench-XXXXXX";
        if (!::mkdtemp(m_strPath.data())) std::abort();
    }
    ~CBenchDir() { std::filesystem::remove_all(m_strPath); }
    CBenchDir(const CBenchDir&) = delete;
    CBenchDir& operator=(const CBenchDir&) = delete;

    const std::string& Path() const { return m_strPath; }

private:
    std::string m_strPath;
};

/// The paths of index03.bin of all channels, below a record folder.
inline std::vector<std::string> ChannelFolders(const std::string& strRecDir, IndexSize size) {
    std::vector<std::string> vFolder;
    for (int nDay = 0; nDay < size.nDays; ++nDay) {
        for (int n = 0; n < CAMERAS; ++n) {
            vFolder.push_back(strRecDir + "/" + RecDirName() + "/" +
                              GetDirName(TimeOfDay(nDay, 0).GetDate()) + "/" +
                              GetDirName(Camera(n)));
        }
    }
    return vFolder;
}

inline void FillTree(CIndexTree& tree, IndexSize size) {
    for (int nDay = 0; nDay < size.nDays; ++nDay) {
        indexDay& day = *tree.NewDay({TimeOfDay(nDay, 0).GetDate()});
        std::vector<indexLevel3Body> vFile;
        for (int n = 0; n < size.nFiles; ++n) vFile.push_back(size.File(nDay, n));
        for (int n = 0; n < CAMERAS; ++n) {
            CFileList& files = tree.NewChannel(day, Camera(n))->objFiles.Change();
            files.AppendAll(vFile.data(), vFile.size());
        }
    }
}

/// Makes the folders and the index files of a record directory, but no recording.
inline void MakeIndexFiles(const std::string& strRecDir, IndexSize size) {
    for (const std::string& strFolder : ChannelFolders(strRecDir, size)) {
        std::filesystem::create_directories(strFolder);
    }
    CIndexTree tree;
    FillTree(tree, size);
    indexFileFault fault;
    const std::string strFolder = strRecDir + "/" + RecDirName();
    const std::string strMarker = strFolder + "/" + INDEX_DIRTY_MARKER;
    std::ofstream{strMarker};
    if (!WriteIndexFiles(strFolder, tree.TakeSnapshot(0), fault)) std::abort();
    std::filesystem::remove(strMarker);
}

/// The path of a recording.
inline recordPath PathOf(const std::string& strRecDir, int nCamera, const indexLevel3Body& stFile) {
    const dateInfo stDate = stFile.stStartTime.GetDate();
    return CChannelFolder({strRecDir, RecDirName(), GetDirName(stDate), stDate}, Camera(nCamera))
        .Recording(stFile);
}

/// All index files below a record directory.
inline std::vector<std::string> IndexFilesBelow(const std::string& strRecDir) {
    std::vector<std::string> vPath;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(strRecDir)) {
        if (entry.path().extension() == ".bin") vPath.push_back(entry.path());
    }
    return vPath;
}

#endif  // LOCALSTORAGE_BENCH_INDEXDATA_H
