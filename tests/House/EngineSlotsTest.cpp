// The engine itself, driven through the numbers of its operations alone.

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "House/SlotCalls.h"
#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

TEST(House, TheEngineWorksThroughItsSlots) {
    const CTempDir dir;
    EnableTarget(LOG_TARGET_FILE, (dir / "log").c_str(), 0, 1);
    CLocalStorageInterface* pInterface = nullptr;
    ASSERT_EQ(NewLocalStorageClass(&pInterface), 1);
    void* const pEngine = pInterface;
    EXPECT_EQ(CallGetLastError(pEngine), 0);
    EXPECT_FALSE(CallRelease(pEngine));

    tagStoreInfo stInfo;
    AddRecordDir(stInfo, dir.Path());
    stInfo.nMaxChannels = 65;
    EXPECT_FALSE(CallInitialize(pEngine, stInfo));
    EXPECT_EQ(CallGetLastError(pEngine), STORAGE_ERROR_PARAM);
    stInfo.nMaxChannels = 64;
    ASSERT_TRUE(CallInitialize(pEngine, stInfo));

    char szCamera[] = "cam01_1_0", szData[] = "some bytes";
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 5, 8);
    stFile.stEndTime = BlockTime(2024, 3, 5, 9);
    EXPECT_TRUE(CallOpen(pEngine, szCamera, nullptr, stFile));
    EXPECT_FALSE(CallOpen(pEngine, szCamera, nullptr, stFile));
    EXPECT_EQ(CallGetLastError(pEngine), STORAGE_ERROR_CHANNEL_OPEN);
    EXPECT_TRUE(CallWrite(pEngine, szCamera, 0, szData, sizeof(szData), stFile));
    EXPECT_EQ(CallGetDiskWriteSpeed(pEngine), 0u);  // 11 bytes are no KiB
    EXPECT_TRUE(CallClose(pEngine, szCamera, stFile));

    recQueryParam stQuery;
    stQuery.stQueryStartTime = stFile.stStartTime;
    stQuery.stQueryEndTime = stFile.stEndTime;
    std::memcpy(stQuery.szCameraID, szCamera, sizeof(szCamera));
    CVexList<pathNode>* pList = nullptr;
    ASSERT_TRUE(CallQuery(pEngine, stQuery, &pList));
    ASSERT_EQ(pList->size(), 1u);
    EXPECT_EQ(GetFile((*pList->begin()).szPath), std::string(szData, sizeof(szData)));

    char szPicture[LOCALSTORAGE_PATH_SIZE] = {};
    EXPECT_TRUE(CallWriteImage(pEngine, szCamera, szData, sizeof(szData), szPicture));
    EXPECT_TRUE(std::filesystem::exists(szPicture));
    EXPECT_TRUE(CallDeleteImagesByDay(pEngine, BlockTime(9999, 12, 31)));
    EXPECT_FALSE(std::filesystem::exists(szPicture));

    EXPECT_TRUE(CallRelease(pEngine));
    EXPECT_EQ(DelLocalStorageClass(&pInterface), 1);
    EXPECT_EQ(static_cast<void*>(pInterface), pEngine);  // left as it was, not to be used again
}

}  // namespace
