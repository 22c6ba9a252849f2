// A host may have been built years before the library it loads, by another compiler: the layout of
// what it fills in or reads and the numbers of the operations may never change.

#include <cstddef>
#include <cstring>

#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

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

// Knows the numbers and nothing of the class.
template <typename Result, typename... Arg>
Result Call(void* pEngine, int nSlot, Arg... arg) {
    using Operation = Result (*)(void*, Arg...);
    void** const pTable = *static_cast<void***>(pEngine);
    return reinterpret_cast<Operation>(pTable[nSlot])(pEngine, arg...);
}

// Number 0 destroys in place, number 1 frees as well; a leak checker sees it where one does not.
TEST(Interface, OperationsKeepTheirNumbers) {
    const CTempDir dir;
    EnableTarget(LOG_TARGET_FILE, (dir / "log").c_str(), 0, 1);
    CLocalStorageInterface* pInterface = nullptr;
    for (const int nSlot : {0, 1}) {
        ASSERT_EQ(NewLocalStorageClass(&pInterface), 1);
        Call<void>(pInterface, nSlot);
        if (nSlot == 0) ::operator delete(static_cast<void*>(pInterface));
    }
    ASSERT_EQ(NewLocalStorageClass(&pInterface), 1);
    void* const pEngine = pInterface;
    tagStoreInfo stInfo;
    AddRecordDir(stInfo, dir.Path());
    ASSERT_TRUE(Call<bool>(pEngine, 2, &stInfo));  // Initialize

    char szCamera[] = "cam01_1_0", szData[] = "some bytes";
    constexpr unsigned int SIZE = sizeof(szData);
    recFileInfo stFile = Recording(BlockTime(2024, 3, 5, 8), BlockTime(2024, 3, 5, 9));
    EXPECT_TRUE(Call<bool>(pEngine, 4, szCamera, szData, &stFile));  // OpenChannelRecord
    EXPECT_FALSE(Call<bool>(pEngine, 4, szCamera, szData, &stFile));
    EXPECT_EQ(Call<int>(pEngine, 9), STORAGE_ERROR_CHANNEL_OPEN);              // GetLastError
    EXPECT_TRUE(Call<bool>(pEngine, 6, szCamera, 0u, szData, SIZE, &stFile));  // WriteData
    EXPECT_EQ(Call<unsigned int>(pEngine, 8), 0u);  // GetDiskWriteSpeed: 11 bytes are no KiB
    EXPECT_TRUE(Call<bool>(pEngine, 5, szCamera, &stFile));  // CloseChannelRecord

    recQueryParam stQuery;
    stQuery.stQueryStartTime = stFile.stStartTime;
    stQuery.stQueryEndTime = stFile.stEndTime;
    std::memcpy(stQuery.szCameraID, szCamera, sizeof(szCamera));
    PathList* pList = nullptr;
    ASSERT_TRUE(Call<bool>(pEngine, 7, &stQuery, &pList));  // QueryRecFile
    ASSERT_EQ(pList->size(), 1u);
    EXPECT_EQ(GetFile((*pList->begin()).szPath), std::string(szData, SIZE));

    char szPicture[LOCALSTORAGE_PATH_SIZE] = {};
    const tagBlockTime stDay = BlockTime(9999, 12, 31);
    EXPECT_TRUE(Call<bool>(pEngine, 10, szCamera, szData, SIZE, szPicture));  // WriteImage
    EXPECT_EQ(GetFile(szPicture), std::string(szData, SIZE));
    EXPECT_TRUE(Call<bool>(pEngine, 11, &stDay));  // DeleteImagesByDay
    EXPECT_FALSE(std::filesystem::exists(szPicture));

    EXPECT_TRUE(Call<bool>(pEngine, 3));  // Release
    EXPECT_EQ(DelLocalStorageClass(&pInterface), 1);
}

TEST(Interface, AnEngineThatIsReleasedAndDeletedLeavesTheLogToTheOthers) {
    const CTempDir dir;
    CRecordingHost remaining(dir / "1", dir / "log");
    CLocalStorageInterface *pFirst = nullptr, *pSecond = nullptr;
    ASSERT_TRUE(NewLocalStorageClass(&pFirst) && NewLocalStorageClass(&pSecond));
    pFirst->Release();
    delete pFirst;
    EXPECT_EQ(WriteLog(LOG_LEVEL_ERR, "", 0, "still here"), LOG_OK);
    EXPECT_EQ(DelLocalStorageClass(&pSecond), 1);
    EXPECT_EQ(WriteLog(LOG_LEVEL_ERR, "", 0, "gone"), LOG_ERR_NO_TARGET);
}

}  // namespace
