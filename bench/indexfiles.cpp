// The index on disk: flush, start and repair against bare loops over the same files.

#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "IndexData.h"
#include "IndexMgr/Index.h"
#include "Ratio.h"
#include "RecordTree/Names.h"

namespace {

void Check(bool bGood, const char* pWhat) {
    if (bGood) return;
    std::fprintf(stderr, "%s failed\n", pWhat);
    std::abort();
}

void Sync(const std::string& strDir) {
    const int nDir = ::open(strDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    Check(::syncfs(nDir) == 0, "syncfs");
    ::close(nDir);
}

struct World {
    World() {
        MakeIndexFiles(dir.Path(), LARGE);
        Check(index.Initialize(dir.Path()) == 0, "Initialize");
    }
    ~World() { index.Abandon(); }

    // Changes every index03.bin: one recording more, or that one less.
    void ChangeAll() {
        bMore = !bMore;
        const auto eType = bMore ? CIndex::INDEX_TYPE_ADD : CIndex::INDEX_TYPE_DELETE;
        for (int nDay = 0; nDay < LARGE.nDays; ++nDay) {
            for (int n = 0; n < CAMERAS; ++n) Change(nDay, n, 300, eType);
        }
    }
    void Change(int nDay, int nCamera, int nFile, CIndex::IndexType eType) {
        index.WriteIndex({TimeOfDay(nDay, 0).GetDate()}, Camera(nCamera),
                         LARGE.FileBehind(nDay, nFile), eType);
    }

    CBenchDir dir;
    CIndex index;
    bool bMore = false;
};

World& Large() {
    static World s_world;
    return s_world;
}

// --- Flush

double Flush() {
    Large().ChangeAll();
    Sync(Large().dir.Path());
    return SecondsOf([] { Large().index.WriteIndexToFile(); });
}

void WriteFile(const std::string& strPath, int nSize) {
    static const std::string s_strBytes(std::size_t{1} << 16, 'x');
    const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    Check(::write(nFile, s_strBytes.data(), static_cast<std::size_t>(nSize)) == nSize, "write");
    ::close(nFile);
}

// Writes as many bytes into as many files as the index03.bin of all channels have.
void WriteBare(const std::string& strDir, IndexSize size, int nFiles) {
    for (const std::string& strFolder : ChannelFolders(strDir, size)) {
        WriteFile(strFolder + "/index03.bin", 8 + 44 * nFiles);
    }
}

// Elsewhere, over what is there, and made durable as the flush does.
double WriteBareElsewhere() {
    static const CBenchDir s_dir;
    const auto writeAll = [] {
        WriteBare(s_dir.Path(), LARGE, LARGE.nFiles + 1);
        Sync(s_dir.Path());
    };
    if (std::filesystem::is_empty(s_dir.Path())) {
        for (const std::string& strFolder : ChannelFolders(s_dir.Path(), LARGE)) {
            std::filesystem::create_directories(strFolder);
        }
        writeAll();
    }
    return SecondsOf(writeAll);
}

// How long one call in a thousand waits while flushes run.
double WaitDuringFlush(void (*call)(int)) {
    std::atomic<bool> bStop{false};
    std::thread flusher([&] {
        while (!bStop) {
            Large().ChangeAll();
            Large().index.WriteIndexToFile();
        }
    });
    std::vector<double> vWait;
    const auto tEnd = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    for (int i = 0; std::chrono::steady_clock::now() < tEnd; ++i) {
        vWait.push_back(SecondsOf([&] { call(i); }));
    }
    bStop = true;
    flusher.join();
    const auto itWorst = vWait.begin() + static_cast<std::ptrdiff_t>(vWait.size() * 999 / 1000);
    std::nth_element(vWait.begin(), itWorst, vWait.end());
    return *itWorst;
}

void AddAndDelete(int n) {
    const auto eType = n % 2 == 0 ? CIndex::INDEX_TYPE_ADD : CIndex::INDEX_TYPE_DELETE;
    Large().Change(n / 2 % LARGE.nDays, n / 2 % CAMERAS, 100, eType);
}

void QueryOneHour(int n) {
    std::list<std::string> lsPath;
    const int nDay = n % LARGE.nDays;
    Large().index.QueryRecFile(Camera(n % CAMERAS), REC_FILE_TYPE_ALL, TimeOfDay(nDay, 36000),
                               TimeOfDay(nDay, 39600), lsPath);
}

double CopyAllRecords() {
    std::vector<std::vector<indexLevel3Body>> vFrom(
        static_cast<std::size_t>(LARGE.nDays * CAMERAS),
        std::vector<indexLevel3Body>(static_cast<std::size_t>(LARGE.nFiles)));
    return SecondsOf([&] { benchmark::DoNotOptimize(std::vector(vFrom)); });
}

// --- Start

double Start() {
    Large().index.WriteIndexToFile();
    CIndex index;
    const double dSeconds =
        SecondsOf([&] { Check(index.Initialize(Large().dir.Path()) == 0, "Initialize"); });
    Check(index.CountFiles() >= static_cast<std::size_t>(LARGE.Count()), "CountFiles");
    index.Abandon();
    return dSeconds;
}

double ReadBare() {
    const std::vector<std::string> vPath = IndexFilesBelow(Large().dir.Path());
    std::vector<char> vBuffer(1 << 20);
    return SecondsOf([&] {
        for (const std::string& strPath : vPath) {
            const int nFile = ::open(strPath.c_str(), O_RDONLY | O_CLOEXEC);
            while (::read(nFile, vBuffer.data(), vBuffer.size()) > 0) {
            }
            ::close(nFile);
        }
    });
}

// --- Repair

const CBenchDir& Tree() {
    static const CBenchDir& s_dir = *[] {
        static CBenchDir s_made;
        int nFolder = 0;
        for (const std::string& strFolder : ChannelFolders(s_made.Path(), TREE)) {
            std::filesystem::create_directories(strFolder);
            for (int n = 0; n < TREE.nFiles; ++n) {
                std::ofstream(strFolder + "/" + GetRecFileName(TREE.File(nFolder / CAMERAS, n)));
            }
            ++nFolder;
        }
        return &s_made;
    }();
    return s_dir;
}

std::string RecordFolder() {
    return Tree().Path() + "/" + RecDirName();
}

void StartOnTree() {
    CIndex index;
    Check(index.Initialize(Tree().Path()) == 0, "Initialize");
    Check(index.CountFiles() == static_cast<std::size_t>(TREE.Count()), "CountFiles");
    index.Abandon();
    Check(std::filesystem::exists(RecordFolder() + "/index01.bin"), "index01.bin");
}

double Repair() {
    Sync(Tree().Path());
    return SecondsOf(StartOnTree);
}

// A killed host leaves its index files, and the marker.
double RepairAfterCrash() {
    static const bool s_bIndexed = (StartOnTree(), true);
    Check(s_bIndexed, "the first repair");
    std::ofstream{RecordFolder() + "/" + INDEX_DIRTY_MARKER};
    return Repair();
}

void RemoveIndexFiles() {
    for (const std::string& strPath : IndexFilesBelow(Tree().Path())) {
        std::filesystem::remove(strPath);
    }
}

double RepairWithoutIndex() {
    RemoveIndexFiles();
    return Repair();
}

double Find() {
    const std::string strCommand = "find '" + Tree().Path() + "' -name '*.mp4' > /dev/null";
    return SecondsOf([&] { Check(std::system(strCommand.c_str()) == 0, "find"); });
}

// The least that a new index takes: its recordings are found, its files made.
double FindAndMakeIndexFiles() {
    RemoveIndexFiles();
    Sync(Tree().Path());
    return Find() + SecondsOf([] {
               WriteBare(Tree().Path(), TREE, TREE.nFiles);
               for (int nDay = 0; nDay < TREE.nDays; ++nDay) {
                   WriteFile(RecordFolder() + "/" + GetDirName(TimeOfDay(nDay, 0).GetDate()) +
                                 "/index02.bin",
                             8 + 92 * CAMERAS);
               }
               WriteFile(RecordFolder() + "/index01.bin", 8 + 4 * TREE.nDays);
               Sync(Tree().Path());
           });
}

}  // namespace

int main(int argc, char** argv) {
    Ratio("8a", "flush of 1,920 changed index files", "the same files, bare writes and syncfs",
          AtMost(1.2), Flush, WriteBareElsewhere);
    Ratio(
        "8b", "WriteIndex during flushes, p99.9", "copying all records", AtMost(0.1),
        [] { return WaitDuringFlush(AddAndDelete); }, CopyAllRecords, 5);
    Ratio(
        "8c", "QueryRecFile of 1 hour during flushes, p99.9", "copying all records", AtMost(0.1),
        [] { return WaitDuringFlush(QueryOneHour); }, CopyAllRecords, 5);
    Ratio("9", "start, 1,000,320 files", "reading the same files", AtMost(1.5), Start, ReadBare);
    Ratio("10a", "repair of 200,000 files after a crash", "find -name '*.mp4'", AtMost(1.0),
          RepairAfterCrash, Find);
    Ratio("10b", "repair of 200,000 files without an index",
          "find -name '*.mp4', then bare writes of the index files and syncfs", AtMost(1.0),
          RepairWithoutIndex, FindAndMakeIndexFiles);
    return RunRatios(argc, argv);
}
