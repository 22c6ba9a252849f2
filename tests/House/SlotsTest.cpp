// The engine driven as by a host that was built years ago: through the numbers of its operations.

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

// Knows the numbers and nothing of the class.
template <typename Result, typename... Arg>
Result Call(void* pEngine, int nSlot, Arg... arg) {
    using Operation = Result (*)(void*, Arg...);
    void** const pTable = *static_cast<void***>(pEngine);
    return reinterpret_cast<Operation>(pTable[nSlot])(pEngine, arg...);
}

const void* g_pUser = nullptr;

int OnMessage(int, void*, unsigned int, void* pUser) {
    g_pUser = pUser;
    return 0;
}

// An engine that has not been initialised.
void* NewEngine(const CTempDir& dir) {
    EnableTarget(LOG_TARGET_FILE, (dir / "log").c_str(), 0, 1);
    CLocalStorageInterface* pEngine = nullptr;
    EXPECT_EQ(NewLocalStorageClass(&pEngine), 1);
    return pEngine;
}

TEST(House, OperationsKeepTheirNumbers) {
    const CTempDir dir;
    void* const pEngine = NewEngine(dir);
    tagStoreInfo stInfo;
    AddRecordDir(stInfo, dir.Path());
    stInfo.pFunCallback = OnMessage;
    stInfo.nMaxChannels = 65;
    EXPECT_FALSE(Call<bool>(pEngine, 2, &stInfo));  // Initialize
    EXPECT_EQ(Call<int>(pEngine, 9), STORAGE_ERROR_PARAM);
    stInfo.nMaxChannels = 64;
    ASSERT_TRUE(Call<bool>(pEngine, 2, &stInfo));

    char szCamera[] = "cam01_1_0", szData[] = "some bytes";
    constexpr unsigned int SIZE = sizeof(szData);
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 5, 8);
    stFile.stEndTime = BlockTime(2024, 3, 5, 9);
    EXPECT_TRUE(Call<bool>(pEngine, 4, szCamera, szData, &stFile));  // OpenChannelRecord
    EXPECT_EQ(g_pUser, szData);
    EXPECT_FALSE(Call<bool>(pEngine, 4, szCamera, szData, &stFile));
    EXPECT_EQ(Call<int>(pEngine, 9), STORAGE_ERROR_CHANNEL_OPEN);              // GetLastError
    EXPECT_TRUE(Call<bool>(pEngine, 6, szCamera, 0u, szData, SIZE, &stFile));  // WriteData
    EXPECT_EQ(Call<unsigned int>(pEngine, 8), 0u);  // GetDiskWriteSpeed: 11 bytes are no KiB
    EXPECT_TRUE(Call<bool>(pEngine, 5, szCamera, &stFile));  // CloseChannelRecord

    recQueryParam stQuery;
    stQuery.stQueryStartTime = stFile.stStartTime;
    stQuery.stQueryEndTime = stFile.stEndTime;
    std::memcpy(stQuery.szCameraID, szCamera, sizeof(szCamera));
    CVexList<pathNode>* pList = nullptr;
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
    EXPECT_FALSE(Call<bool>(pEngine, 3));
    auto* pInterface = static_cast<CLocalStorageInterface*>(pEngine);
    EXPECT_EQ(DelLocalStorageClass(&pInterface), 1);
    EXPECT_EQ(pInterface, pEngine);  // left as it was, not to be used again
}

// Number 0 destroys in place, number 1 frees as well; a leak checker sees it where one does not.
TEST(House, DestructorsAreTheFirstTwoNumbers) {
    const CTempDir dir;
    for (const int nSlot : {0, 1}) {
        void* const pEngine = NewEngine(dir);
        Call<void>(pEngine, nSlot);
        if (nSlot == 0) ::operator delete(pEngine);
    }
    auto* pLast = static_cast<CLocalStorageInterface*>(NewEngine(dir));
    EXPECT_EQ(DelLocalStorageClass(&pLast), 1);  // stops the log, too
}

}  // namespace
