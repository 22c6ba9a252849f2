// The index in memory: queries and changes against SQLite, and its size. The index has a million
// recordings; SQLite holds the same ones in one clustered table, their paths ready made.

#include <list>
#include <malloc.h>
#include <memory>
#include <random>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include <sqlite3.h>

#include "IndexData.h"
#include "Ratio.h"

namespace {

std::int64_t Number(const fileTimeInfo& st) {
    char szDigits[TIME_DIGITS_BUFFER];
    return std::stoll(std::string(szDigits, st.PutDigits(szDigits)));
}

void Check(bool bGood, const char* pWhat) {
    if (bGood) return;
    std::fprintf(stderr, "%s failed\n", pWhat);
    std::abort();
}

class CStatement {
public:
    CStatement(sqlite3* pDatabase, const char* pText) {
        Check(sqlite3_prepare_v2(pDatabase, pText, -1, &m_pStatement, nullptr) == SQLITE_OK, pText);
    }
    ~CStatement() { sqlite3_finalize(m_pStatement); }
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    CStatement& Bind(int n, std::int64_t nValue) {
        sqlite3_bind_int64(m_pStatement, n, nValue);
        return *this;
    }
    CStatement& Bind(int n, const std::string& strValue) {
        sqlite3_bind_text(m_pStatement, n, strValue.data(), static_cast<int>(strValue.size()),
                          SQLITE_STATIC);
        return *this;
    }
    bool Step() { return sqlite3_step(m_pStatement) == SQLITE_ROW; }
    void Run() {
        Check(sqlite3_step(m_pStatement) == SQLITE_DONE, "statement");
        sqlite3_reset(m_pStatement);
    }
    void Reset() { sqlite3_reset(m_pStatement); }
    std::string Text(int n) const {
        return {reinterpret_cast<const char*>(sqlite3_column_text(m_pStatement, n)),
                static_cast<std::size_t>(sqlite3_column_bytes(m_pStatement, n))};
    }

private:
    sqlite3_stmt* m_pStatement = nullptr;
};

// The recordings of a record directory in SQLite.
class CDatabase {
public:
    CDatabase(const std::string& strRecDir, IndexSize size) {
        Check(sqlite3_open((strRecDir + "/sqlite").c_str(), &m_pDatabase) == SQLITE_OK, "open");
        Execute("PRAGMA journal_mode=WAL");
        Execute("PRAGMA synchronous=OFF");
        Execute(
            "CREATE TABLE recording (camera TEXT, start INTEGER, end INTEGER, type INTEGER, path "
            "TEXT, PRIMARY KEY (camera, start, end)) WITHOUT ROWID");
        m_pInsert = std::make_unique<CStatement>(m_pDatabase,
                                                 "INSERT INTO recording VALUES (?, ?, ?, ?, ?)");
        m_pDelete = std::make_unique<CStatement>(
            m_pDatabase, "DELETE FROM recording WHERE camera = ? AND start = ? AND end = ?");
        // A recording is looked for on the days of the query only, as the index does.
        m_pQuery = std::make_unique<CStatement>(
            m_pDatabase,
            "SELECT path FROM recording WHERE camera = ? AND start >= ? AND start < ? AND end > ?");
        Execute("BEGIN");
        for (int nCamera = 0; nCamera < CAMERAS; ++nCamera) {
            for (int nDay = 0; nDay < size.nDays; ++nDay) {
                for (int n = 0; n < size.nFiles; ++n) {
                    const indexLevel3Body stFile = size.File(nDay, n);
                    Insert(GetDirName(Camera(nCamera)), stFile,
                           PathOf(strRecDir, nCamera, stFile).strPath);
                }
            }
        }
        Execute("COMMIT");
    }
    ~CDatabase() {
        m_pInsert.reset();
        m_pDelete.reset();
        m_pQuery.reset();
        sqlite3_close(m_pDatabase);
    }
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    void Insert(const std::string& strCamera, const indexLevel3Body& stFile,
                const std::string& strPath) {
        m_pInsert->Bind(1, strCamera)
            .Bind(2, Number(stFile.stStartTime))
            .Bind(3, Number(stFile.stEndTime))
            .Bind(4, stFile.enumRecFileType)
            .Bind(5, strPath)
            .Run();
    }
    void Delete(const std::string& strCamera, std::int64_t nStart, std::int64_t nEnd) {
        m_pDelete->Bind(1, strCamera).Bind(2, nStart).Bind(3, nEnd).Run();
    }
    std::list<std::string> Query(const std::string& strCamera, std::int64_t nStart,
                                 std::int64_t nEnd) {
        std::list<std::string> lsPath;
        m_pQuery->Bind(1, strCamera)
            .Bind(2, nStart / 1000000 * 1000000)
            .Bind(3, nEnd)
            .Bind(4, nStart);
        while (m_pQuery->Step()) lsPath.push_back(m_pQuery->Text(0));
        m_pQuery->Reset();
        return lsPath;
    }

private:
    void Execute(const char* pText) {
        Check(sqlite3_exec(m_pDatabase, pText, nullptr, nullptr, nullptr) == SQLITE_OK, pText);
    }

    sqlite3* m_pDatabase = nullptr;
    std::unique_ptr<CStatement> m_pInsert, m_pDelete, m_pQuery;
};

// The same recordings in an index and, when asked for, in SQLite.
class CWorld {
public:
    explicit CWorld(IndexSize size) : m_size(size) {
        MakeIndexFiles(m_dir.Path(), size);
        Check(m_mgr.Initialize({m_dir.Path()}) == 0, "Initialize");
    }
    ~CWorld() { m_mgr.Release(); }

    const IndexSize m_size;
    CBenchDir m_dir;
    CIndexMgr m_mgr;

    CDatabase& Database() {
        if (!m_pDatabase) m_pDatabase = std::make_unique<CDatabase>(m_dir.Path(), m_size);
        return *m_pDatabase;
    }

private:
    std::unique_ptr<CDatabase> m_pDatabase;
};

CWorld& Large() {
    static CWorld s_world(LARGE);
    return s_world;
}
CWorld& Small() {
    static CWorld s_world(SMALL);
    return s_world;
}

// --- Queries

struct Question {
    std::string strCamera;
    fileTimeInfo stStart, stEnd;
};

// The same questions for both, spread over cameras and times.
std::vector<Question> Questions(int nCount, int nHours) {
    std::mt19937 random(1);
    std::vector<Question> vQuestion;
    for (int i = 0; i < nCount; ++i) {
        const int nCamera = static_cast<int>(random() % CAMERAS);
        const int nHour = nHours == 1 ? static_cast<int>(random() % 23) : 0;
        const int nDay = nHours <= 24 ? static_cast<int>(random() % 30) : 0;
        const int nLastDay = nDay + (nHours - 1) / 24;
        const fileTimeInfo stEnd =
            nHours == 1 ? TimeOfDay(nDay, (nHour + 1) * 3600) : TimeOfDay(nLastDay, 86399);
        vQuestion.push_back({GetDirName(Camera(nCamera)), TimeOfDay(nDay, nHour * 3600), stEnd});
    }
    return vQuestion;
}

std::list<std::string> AskIndex(const Question& question) {
    std::list<std::string> lsPath;
    Large().m_mgr.QueryRecFile(question.strCamera, REC_FILE_TYPE_ALL, question.stStart,
                               question.stEnd, lsPath);
    return lsPath;
}

std::list<std::string> AskDatabase(const Question& question) {
    return Large().Database().Query(question.strCamera, Number(question.stStart),
                                    Number(question.stEnd));
}

void QueryRow(const char* pNumber, const char* pWhat, int nCount, int nHours, double dLimit) {
    const auto vQuestion = Questions(nCount, nHours);
    const auto time = [vQuestion](auto ask) {
        return SecondsOf([&] {
            for (const Question& question : vQuestion) benchmark::DoNotOptimize(ask(question));
        });
    };
    Ratio(
        pNumber, std::string("query, one camera, ") + pWhat, "SQLite, prepared statement",
        AtMost(dLimit), [=] { return time(AskIndex); },
        [=] {
            Check(AskDatabase(vQuestion[0]) == AskIndex(vQuestion[0]), "the same rows");
            return time(AskDatabase);
        });
}

// --- Changes

struct Change {
    std::string strCamera;
    recordPath stPath;
    indexLevel3Body stFile;
};

Change MakeChange(const CWorld& world, int nCamera, const indexLevel3Body& stFile) {
    return {GetDirName(Camera(nCamera)), PathOf(world.m_dir.Path(), nCamera, stFile), stFile};
}

constexpr int CHANGES = 4992;  // 78 of each camera

// What comes while cameras record: each in turn, one recording after the other, on the newest day.
std::vector<Change> Recorded(const CWorld& world) {
    std::vector<Change> vChange;
    for (int i = 0; i < CHANGES; ++i) {
        vChange.push_back(MakeChange(world, i % CAMERAS,
                                     world.m_size.FileBehind(world.m_size.nDays - 1, i / CAMERAS)));
    }
    return vChange;
}

// What goes when a disk is full: the oldest day, folder by folder.
std::vector<Change> Overwritten(const CWorld& world) {
    std::vector<Change> vChange;
    for (int nCamera = 0; static_cast<int>(vChange.size()) < CHANGES; ++nCamera) {
        for (int n = 0; n < world.m_size.nFiles; ++n) {
            vChange.push_back(MakeChange(world, nCamera, world.m_size.File(0, n)));
        }
    }
    return vChange;
}

// Recordings anywhere between those of a world, in no order.
std::vector<Change> Anywhere(const CWorld& world) {
    std::mt19937 random(2);
    std::set<std::string> setPath;
    std::vector<Change> vChange;
    while (static_cast<int>(vChange.size()) < CHANGES) {
        const Change change =
            MakeChange(world, static_cast<int>(random() % CAMERAS),
                       world.m_size.FileBehind(static_cast<int>(random()) % world.m_size.nDays,
                                               static_cast<int>(random()) % world.m_size.nFiles));
        if (setPath.insert(change.stPath.strPath).second) vChange.push_back(change);
    }
    return vChange;
}

using Pick = std::vector<Change> (*)(const CWorld&);

// Does one kind of change and then the other, which leaves the world as it was, again and again;
// seconds per change of the first.
template <typename First, typename Second>
double DoAndUndo(const std::vector<Change>& vChange, int nRounds, First first, Second second) {
    double dSeconds = 0;
    for (int n = 0; n < nRounds; ++n) {
        dSeconds += SecondsOf([&] { std::for_each(vChange.begin(), vChange.end(), first); });
        std::for_each(vChange.begin(), vChange.end(), second);
    }
    return dSeconds / static_cast<double>(vChange.size()) / nRounds;
}

double ChangeIndex(CWorld& world, Pick pick, bool bAdd) {
    constexpr int ROUNDS = 20;  // one takes a millisecond, which a busy machine may double
    const auto with = [&](CIndexMgr::IndexType eType) {
        return [&world, eType](const Change& c) { world.m_mgr.WriteIndex(c.stPath, eType); };
    };
    const auto add = with(CIndexMgr::INDEX_TYPE_ADD);
    const auto remove = with(CIndexMgr::INDEX_TYPE_DELETE);
    return bAdd ? DoAndUndo(pick(world), ROUNDS, add, remove)
                : DoAndUndo(pick(world), ROUNDS, remove, add);
}

double ChangeDatabase(CWorld& world, Pick pick, bool bAdd) {
    CDatabase& database = world.Database();
    const auto add = [&](const Change& c) {
        database.Insert(c.strCamera, c.stFile, c.stPath.strPath);
    };
    const auto remove = [&](const Change& c) {
        database.Delete(c.strCamera, Number(c.stFile.stStartTime), Number(c.stFile.stEndTime));
    };
    return bAdd ? DoAndUndo(pick(world), 1, add, remove) : DoAndUndo(pick(world), 1, remove, add);
}

void ChangeRows(const std::string& strNumber, const std::string& strWhat, Pick pick, bool bAdd,
                double dLimit) {
    const auto row = [&](const std::string& strWhere, CWorld& (*world)(), Pick pickHere) {
        Ratio(
            strNumber, strWhat + ", " + strWhere, "SQLite, autocommit", AtMost(dLimit),
            [=] { return ChangeIndex(world(), pickHere, bAdd); },
            [=] { return ChangeDatabase(world(), pickHere, bAdd); });
    };
    row("1,000,320 files", Large, pick);
    row("9,984 files", Small, pick);
    if (bAdd) row("1,000,320 files, anywhere", Large, Anywhere);
    Ratio(
        strNumber, strWhat + ", 1,000,320 files", "the same in 9,984 files", AtMost(1.3),
        [=] { return ChangeIndex(Large(), pick, bAdd); },
        [=] { return ChangeIndex(Small(), pick, bAdd); });
}

// --- Memory

double ResidentBytes() {
    long nPages = 0, nResident = 0;
    FILE* pFile = std::fopen("/proc/self/statm", "r");
    Check(pFile && std::fscanf(pFile, "%ld %ld", &nPages, &nResident) == 2, "statm");
    std::fclose(pFile);
    return static_cast<double>(nResident) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

// What a process grows by when it reads the index: measured in a child of its own.
double IndexMemory() {
    int aPipe[2];
    Check(::pipe(aPipe) == 0, "pipe");
    const std::string strDir = Large().m_dir.Path();
    Large().m_mgr.Release();
    const pid_t nChild = ::fork();
    if (nChild == 0) {
        ::malloc_trim(0);
        const double dBefore = ResidentBytes();
        CIndexMgr mgr;
        Check(mgr.Initialize({strDir}) == 0, "Initialize");
        const double dGrown = ResidentBytes() - dBefore;
        Check(::write(aPipe[1], &dGrown, sizeof(dGrown)) == sizeof(dGrown), "write");
        ::_exit(0);
    }
    double dGrown = 0;
    Check(::read(aPipe[0], &dGrown, sizeof(dGrown)) == sizeof(dGrown), "read");
    ::waitpid(nChild, nullptr, 0);
    ::close(aPipe[0]);
    ::close(aPipe[1]);
    Check(Large().m_mgr.Initialize({strDir}) == 0, "Initialize");
    return dGrown;
}

double IndexFileBytes() {
    double dBytes = 0;
    for (const std::string& strPath : IndexFilesBelow(Large().m_dir.Path())) {
        dBytes += static_cast<double>(std::filesystem::file_size(strPath));
    }
    return dBytes;
}

}  // namespace

int main(int argc, char** argv) {
    QueryRow("6a", "1 hour", 2000, 1, 0.30);
    QueryRow("6b", "1 day", 200, 24, 0.35);
    QueryRow("6c", "30 days", 10, 30 * 24, 0.45);
    ChangeRows("7a", "add one file by path", Recorded, true, 0.06);
    ChangeRows("7b", "delete one file by path", Overwritten, false, 0.10);
    Ratio("13", "resident memory of 1,000,320 files", "size of the index files", AtMost(1.25),
          IndexMemory, IndexFileBytes, 5);
    return RunRatios(argc, argv);
}
