// The layout of everything that crosses the interface. A host may have been built years before the
// library it loads, by another compiler: none of these numbers may ever change.

#include <cstddef>
#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include "localstorage/LocalStorage.h"

#define EXPECT_FIELD(record, field, offset, size)                \
    static_assert(offsetof(record, field) == (offset), "moved"); \
    static_assert(sizeof(record::field) == (size), "another size")

static_assert(sizeof(tagBlockTime) == 8 && alignof(tagBlockTime) == 2);
EXPECT_FIELD(tagBlockTime, wYear, 0, 2);
EXPECT_FIELD(tagBlockTime, byMonth, 2, 1);
EXPECT_FIELD(tagBlockTime, byDay, 3, 1);
EXPECT_FIELD(tagBlockTime, byHour, 4, 1);
EXPECT_FIELD(tagBlockTime, byMinute, 5, 1);
EXPECT_FIELD(tagBlockTime, bySecond, 6, 1);
EXPECT_FIELD(tagBlockTime, byReserved, 7, 1);

static_assert(sizeof(pathNode) == 260 && alignof(pathNode) == 1);

using PathList = CVexList<pathNode>;
static_assert(sizeof(PathList) == 16);
static_assert(sizeof(PathList::node) == 280);
EXPECT_FIELD(PathList::node, data, 0, 260);
EXPECT_FIELD(PathList::node, next, 264, 8);
EXPECT_FIELD(PathList::node, prev, 272, 8);

static_assert(sizeof(tagStoreInfo) == 56 && alignof(tagStoreInfo) == 8);
EXPECT_FIELD(tagStoreInfo, nMaxChannels, 0, 4);
EXPECT_FIELD(tagStoreInfo, enumStreamType, 4, 4);
EXPECT_FIELD(tagStoreInfo, bAnalyze, 8, 1);
EXPECT_FIELD(tagStoreInfo, bCycWrite, 9, 1);
EXPECT_FIELD(tagStoreInfo, pFunCallback, 16, 8);
EXPECT_FIELD(tagStoreInfo, lsRecDir, 24, 16);
EXPECT_FIELD(tagStoreInfo, enumStorageType, 40, 4);
EXPECT_FIELD(tagStoreInfo, nFileSize, 44, 4);
EXPECT_FIELD(tagStoreInfo, bAutoDelete, 48, 1);
EXPECT_FIELD(tagStoreInfo, enumStoreFileType, 52, 4);

static_assert(sizeof(recFileInfo) == 24);
EXPECT_FIELD(recFileInfo, stStartTime, 0, 8);
EXPECT_FIELD(recFileInfo, stEndTime, 8, 8);
EXPECT_FIELD(recFileInfo, enumRecordType, 16, 4);
EXPECT_FIELD(recFileInfo, bOpenFlag, 20, 1);

static_assert(sizeof(recQueryParam) == 148);
EXPECT_FIELD(recQueryParam, stQueryStartTime, 0, 8);
EXPECT_FIELD(recQueryParam, stQueryEndTime, 8, 8);
EXPECT_FIELD(recQueryParam, enumRecordType, 16, 4);
EXPECT_FIELD(recQueryParam, szCameraID, 20, 128);

static_assert(sizeof(recFileEvent) == 396);
EXPECT_FIELD(recFileEvent, szCameraID, 0, 128);
EXPECT_FIELD(recFileEvent, szFileName, 128, 260);
EXPECT_FIELD(recFileEvent, stTime, 388, 8);

static_assert(sizeof(diskSwitchEvent) == 272);
EXPECT_FIELD(diskSwitchEvent, szDisk, 0, 260);
EXPECT_FIELD(diskSwitchEvent, nReserved, 260, 4);
EXPECT_FIELD(diskSwitchEvent, nUsableSpace, 264, 8);

static_assert(sizeof(writeFailEvent) == 132);
EXPECT_FIELD(writeFailEvent, szCameraID, 0, 128);
EXPECT_FIELD(writeFailEvent, nError, 128, 4);

static_assert(std::is_same_v<StorageMsgCallback, int (*)(int, void*, unsigned int, void*)>);

namespace {

// The list keeps its members private; a host built by another compiler reads these bytes.
struct ListImage {
    PathList::node* pSentinel;
    std::uint32_t nSize;
};

pathNode Path(const char* szPath) {
    pathNode stPath;
    std::strcpy(stPath.szPath, szPath);
    return stPath;
}

TEST(House, PathListIsSentinelThenCount) {
    PathList list;
    ListImage image;
    for (const std::uint32_t nSize : {0u, 1u, 2u}) {
        std::memcpy(&image, static_cast<const void*>(&list), sizeof(image));
        EXPECT_EQ(image.nSize, nSize);
        const PathList::node* pNode = image.pSentinel;
        for (std::uint32_t n = 0; n <= nSize; ++n, pNode = pNode->next) {
            EXPECT_EQ(pNode->next->prev, pNode);
        }
        EXPECT_EQ(pNode, image.pSentinel);
        list.push_back(Path(nSize == 0 ? "/disk1/" : "/disk2/"));
    }
    EXPECT_STREQ(image.pSentinel->next->data.szPath, "/disk1/");
    EXPECT_STREQ(image.pSentinel->next->next->data.szPath, "/disk2/");
}

// Records that a host leaves as they are constructed mean what the header says.
TEST(House, SettingsStartWithTheirDefaultsAndAreReplacedWhole) {
    tagStoreInfo stFrom, stTo;
    EXPECT_EQ(stFrom.nFileSize, 256u);
    EXPECT_TRUE(stFrom.bAutoDelete);
    EXPECT_FALSE(stFrom.bAnalyze || stFrom.bCycWrite || stFrom.pFunCallback);
    EXPECT_EQ(stFrom.enumStorageType, LOCAL_STORAGE_REMOTE_BACKUP);
    EXPECT_EQ(recFileInfo().enumRecordType, RECORD_TYPE_1);
    EXPECT_FALSE(recFileInfo().bOpenFlag);

    stFrom.lsRecDir.push_back(Path("/new/"));
    stTo.lsRecDir.push_back(Path("/old/"));
    stTo.lsRecDir.push_back(Path("/older/"));
    stTo = stFrom;
    ASSERT_EQ(stTo.lsRecDir.size(), 1u);
    EXPECT_STREQ((*stTo.lsRecDir.begin()).szPath, "/new/");
}

}  // namespace
