// Gives a reader of index files whatever stands in them; aborts when what it takes for an index is
// none, or when its readings differ.
//
// An input is two lengths (two bytes each), then what stands in index01.bin, in every index02.bin
// and, to its end, in every index03.bin.

#undef NDEBUG
#include <cassert>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "Osl/OslCalls.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/Names.h"

namespace {

int g_anFile[3];  // one for each level, in memory

/// "index02.bin" is of level 2, wherever it stands.
int OpenInMemory(const char* pPath, int, mode_t) {
    const int nFile = g_anFile[pPath[std::strlen(pPath) - 5] - '1'];
    return ::open(("/proc/self/fd/" + std::to_string(nFile)).c_str(), O_RDONLY | O_CLOEXEC);
}

void KeepFilesInMemory() {
    static OSL_Calls s_calls = OSL_SYSTEM_CALLS;
    if (g_pOslCalls.load() == &s_calls) return;
    s_calls.pfnOpen = OpenInMemory;
    g_pOslCalls = &s_calls;
    for (int& nFile : g_anFile) nFile = ::memfd_create("index", 0);
}

/// How many elements ReadIndexFile tells of the file of a level; it must take it.
std::size_t CountElements(const char* pName) {
    std::size_t nElements = 0;
    const auto count = [&](const auto&) { return ++nElements != 0; };
    indexFileFault fault;
    const bool bRead = ReadIndexFile(pName, {count, count, count}, fault);
    assert(bRead);
    return nElements;
}

void ExpectIndex(const CIndexTree& tree) {
    assert(tree.GetDays().size() == CountElements(INDEX_FILE_LEVEL1));
    const std::size_t nChannels = CountElements(INDEX_FILE_LEVEL2);
    const std::size_t nFiles = CountElements(INDEX_FILE_LEVEL3);
    for (const auto& [stDate, day] : tree.GetDays()) {
        assert(day.lsChannels.size() == nChannels);
        for (const indexChannel& channel : day.lsChannels) {
            assert(IsCameraID(channel.strName) && day.Find(channel.strName) == &channel);
            assert(channel.objFiles->size() == nFiles);
            fileTimeInfo stBefore;
            channel.objFiles->ForEach([&](const indexLevel3Body& stFile) {
                indexLevel3Body stFound = stFile;
                assert(!(stFile.stStartTime < stBefore) && channel.objFiles->Find(stFound));
                stBefore = stFile.stStartTime;
            });
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    if (nSize < 4) return 0;
    KeepFilesInMemory();
    std::size_t nPos = 4;
    for (std::size_t nLevel = 0; nLevel < 3; ++nLevel) {
        const std::size_t nSaid =
            nLevel == 2 ? nSize : pData[2 * nLevel] + 256u * pData[2 * nLevel + 1];
        const std::size_t nFile = std::min(nSaid, nSize - nPos);
        const bool bPut =
            ::ftruncate(g_anFile[nLevel], 0) == 0 &&
            ::pwrite(g_anFile[nLevel], pData + nPos, nFile, 0) == static_cast<ssize_t>(nFile);
        assert(bPut);
        nPos += nFile;
    }

    CIndexTree exact, longer;
    indexFileFault fault;
    const bool bExact = LoadIndex("RecordFile", IndexLength::Exact, exact, fault);
    assert(bExact == (fault.eError == IndexFileError::None));
    const bool bLonger = LoadIndex("RecordFile", IndexLength::AtLeast, longer, fault);
    if (!bExact) return 0;
    assert(bLonger && longer.CountFiles() == exact.CountFiles());
    ExpectIndex(exact);
    return 0;
}
