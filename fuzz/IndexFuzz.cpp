// Gives a reader of index files whatever stands in them; aborts when what it takes for an index is
// none, or when its readings differ.
//
// An input is two lengths (two bytes each), then what stands in index01.bin, in every index02.bin
// and, to its end, in every index03.bin.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "Osl/OslCalls.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"

namespace {

#define REQUIRE(bTrue)                                                           \
    do {                                                                         \
        if (!(bTrue)) {                                                          \
            std::fprintf(stderr, "%s:%d: not %s\n", __FILE__, __LINE__, #bTrue); \
            std::abort();                                                        \
        }                                                                        \
    } while (false)

/// The three files, in memory.
class CIndexFiles {
public:
    CIndexFiles() {
        s_calls = OSL_SYSTEM_CALLS;
        s_calls.pfnOpen = Open;
        g_pOslCalls = &s_calls;
        for (int& nFile : s_anFile) REQUIRE((nFile = ::memfd_create("index", 0)) >= 0);
    }

    void Fill(int nLevel, const std::uint8_t* pData, std::size_t nSize) {
        const int nFile = s_anFile[nLevel - 1];
        REQUIRE(::ftruncate(nFile, 0) == 0);
        REQUIRE(::pwrite(nFile, pData, nSize, 0) == static_cast<ssize_t>(nSize));
    }

private:
    /// "index02.bin" is of level 2, wherever it stands.
    static int Open(const char* pPath, int, mode_t) {
        const std::string strPath = pPath;
        const int nFile = s_anFile[strPath[strPath.size() - 5] - '1'];
        return ::open(("/proc/self/fd/" + std::to_string(nFile)).c_str(), O_RDONLY | O_CLOEXEC);
    }

    static inline OSL_Calls s_calls;
    static inline int s_anFile[3];
};

/// How many elements ReadIndexFile tells of the file of a level; it must take it.
std::size_t CountElements(const char* pName) {
    std::size_t nElements = 0;
    const auto count = [&](const auto&) { return ++nElements != 0; };
    indexFileFault fault;
    REQUIRE(ReadIndexFile(pName, {count, count, count}, fault));
    return nElements;
}

void RequireIndex(const CIndexTree& tree) {
    REQUIRE(tree.GetDays().size() == CountElements(INDEX_FILE_LEVEL1));
    const std::size_t nChannels = CountElements(INDEX_FILE_LEVEL2);
    const std::size_t nFiles = CountElements(INDEX_FILE_LEVEL3);
    for (const auto& [stDate, day] : tree.GetDays()) {
        REQUIRE(day.lsChannels.size() == nChannels);
        for (const indexChannel& channel : day.lsChannels) {
            REQUIRE(IsCameraID(channel.strName) && day.Find(channel.strName) == &channel);
            REQUIRE(channel.objFiles->size() == nFiles);
            fileTimeInfo stBefore;
            channel.objFiles->ForEach([&](const indexLevel3Body& stFile) {
                indexLevel3Body stFound = stFile;
                REQUIRE(!(stFile.stStartTime < stBefore) && channel.objFiles->Find(stFound));
                stBefore = stFile.stStartTime;
            });
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    static CIndexFiles files;
    if (nSize < 4) return 0;
    std::size_t nLeft = nSize - 4;
    const std::uint8_t* pFile = pData + 4;
    for (int nLevel = 1; nLevel <= 3; ++nLevel) {
        const std::size_t nSaid =
            nLevel == 3 ? nLeft : pData[2 * nLevel - 2] + 256u * pData[2 * nLevel - 1];
        const std::size_t nFile = std::min(nSaid, nLeft);
        files.Fill(nLevel, pFile, nFile);
        pFile += nFile;
        nLeft -= nFile;
    }

    CIndexTree exact, longer;
    indexFileFault fault;
    const bool bExact = LoadIndex("RecordFile", IndexLength::Exact, exact, fault);
    REQUIRE(bExact == (fault.eError == IndexFileError::None));
    const bool bLonger = LoadIndex("RecordFile", IndexLength::AtLeast, longer, fault);
    if (!bExact) return 0;
    REQUIRE(bLonger && longer.CountFiles() == exact.CountFiles());
    RequireIndex(exact);
    return 0;
}
