// A host may have been built years before the library it loads, by another compiler: the layout of
// what it fills in or reads and the numbers of the operations may never change.

#include <cstddef>
#include <cstring>

#include "Support/Host.h"
#include "Support/Test.h"

static_assert(sizeof(tagBlockTime) == 8 && offsetof(tagBlockTime, byMonth) == 2 &&
              offsetof(tagBlockTime, byDay) == 3 && offsetof(tagBlockTime, byHour) == 4 &&
              offsetof(tagBlockTime, byMinute) == 5 && offsetof(tagBlockTime, bySecond) == 6);

static_assert(sizeof(tagStoreInfo) == 56 && offsetof(tagStoreInfo, enumStreamType) == 4 &&
              offsetof(tagStoreInfo, bAnalyze) == 8 && offsetof(tagStoreInfo, bCycWrite) == 9 &&
              offsetof(tagStoreInfo, pFunCallback) == 16 &&
              offsetof(tagStoreInfo, lsRecDir) == 24 &&
              offsetof(tagStoreInfo, enumStorageType) == 40 &&
              offsetof(tagStoreInfo, nFileSize) == 44 &&
              offsetof(tagStoreInfo, bAutoDelete) == 48 &&
              offsetof(tagStoreInfo, enumStoreFileType) == 52);

static_assert(sizeof(recFileInfo) == 24 && offsetof(recFileInfo, stEndTime) == 8 &&
              offsetof(recFileInfo, enumRecordType) == 16 &&
              offsetof(recFileInfo, bOpenFlag) == 20);

static_assert(sizeof(recQueryParam) == 148 && offsetof(recQueryParam, stQueryEndTime) == 8 &&
              offsetof(recQueryParam, enumRecordType) == 16 &&
              offsetof(recQueryParam, szCameraID) == 20);

using PathList = CVexList<pathNode>;
static_assert(sizeof(PathList) == 16 && sizeof(PathList::node) == 280 &&
              offsetof(PathList::node, next) == 264 && offsetof(PathList::node, prev) == 272);

namespace {

// The list keeps its members private; hosts read these bytes.
TEST(Interface, PathListIsSentinelThenCount) {
    struct {
        PathList::node* pSentinel;
        std::uint32_t nSize;
    } image;
    tagStoreInfo stInfo;
    AddRecordDir(stInfo, "/disk1/");
    AddRecordDir(stInfo, "/disk2/");
    std::memcpy(&image, static_cast<const void*>(&stInfo.lsRecDir), sizeof(image));
    EXPECT_EQ(image.nSize, 2u);
    const PathList::node* const pFirst = image.pSentinel->next;
    const PathList::node* const pLast = image.pSentinel->prev;
    EXPECT_STREQ(pFirst->data.szPath, "/disk1/");
    EXPECT_STREQ(pLast->data.szPath, "/disk2/");
    EXPECT_TRUE(pFirst->next == pLast && pFirst->prev == image.pSentinel);
    EXPECT_TRUE(pLast->prev == pFirst && pLast->next == image.pSentinel);
}

// Where an operation stands in the class's table: the pointer to it says so, in bytes.
using Interface = CLocalStorageInterface;
template <typename Operation>
std::size_t NumberOf(Operation Interface::*pOperation) {
    std::size_t nBytes;
    std::memcpy(&nBytes, &pOperation, sizeof(nBytes));
    return nBytes / sizeof(void*);
}

TEST(Interface, OperationsKeepTheirNumbersAndWhatTheyTake) {
    using List = PathList**;
    EXPECT_EQ(NumberOf<bool(tagStoreInfo&)>(&Interface::Initialize), 2u);
    EXPECT_EQ(NumberOf<bool()>(&Interface::Release), 3u);
    EXPECT_EQ((NumberOf<bool(char*, void*, recFileInfo&)>(&Interface::OpenChannelRecord)), 4u);
    EXPECT_EQ((NumberOf<bool(char*, recFileInfo&)>(&Interface::CloseChannelRecord)), 5u);
    EXPECT_EQ(
        (NumberOf<bool(char*, unsigned, char*, unsigned, recFileInfo&)>(&Interface::WriteData)),
        6u);
    EXPECT_EQ((NumberOf<bool(recQueryParam&, List)>(&Interface::QueryRecFile)), 7u);
    EXPECT_EQ(NumberOf<std::uint32_t()>(&Interface::GetDiskWriteSpeed), 8u);
    EXPECT_EQ(NumberOf<int()>(&Interface::GetLastError), 9u);
    EXPECT_EQ((NumberOf<bool(const char*, const char*, unsigned, char*)>(&Interface::WriteImage)),
              10u);
    EXPECT_EQ(NumberOf<bool(const tagBlockTime&)>(&Interface::DeleteImagesByDay), 11u);
    // Number 0 destroys in place, number 1 frees too; a leak checker sees it where one does not.
    DisableTarget(LOG_TARGET_FILE);  // no line into the default directory
    for (const int nNumber : {0, 1}) {
        Interface* pInterface = nullptr;
        ASSERT_EQ(NewLocalStorageClass(&pInterface), 1);
        void* const pEngine = pInterface;
        reinterpret_cast<void (*)(void*)>((*static_cast<void***>(pEngine))[nNumber])(pEngine);
        if (nNumber == 0) ::operator delete(pEngine);
    }
}

}  // namespace
