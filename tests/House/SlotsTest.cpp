// The order of the interface's operations, seen through their numbers.

#include <cstring>
#include <new>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "House/SlotCalls.h"

namespace {

using testing::Address;
using testing::Return;

class CMockStorage : public CLocalStorageInterface {
public:
    ~CMockStorage() override { Destroyed(); }

    MOCK_METHOD(void, Destroyed, ());
    MOCK_METHOD(bool, Initialize, (tagStoreInfo&), (override));
    MOCK_METHOD(bool, Release, (), (override));
    MOCK_METHOD(bool, OpenChannelRecord, (char*, void*, recFileInfo&), (override));
    MOCK_METHOD(bool, CloseChannelRecord, (char*, recFileInfo&), (override));
    MOCK_METHOD(bool, WriteData, (char*, unsigned int, char*, unsigned int, recFileInfo&),
                (override));
    MOCK_METHOD(bool, QueryRecFile, (recQueryParam&, CVexList<pathNode>**), (override));
    MOCK_METHOD(std::uint32_t, GetDiskWriteSpeed, (), (override));
    MOCK_METHOD(int, GetLastError, (), (override));
    MOCK_METHOD(bool, WriteImage, (const char*, const char*, unsigned int, char*), (override));
    MOCK_METHOD(bool, DeleteImagesByDay, (const tagBlockTime&), (override));
};

// Every operation stands at its number and gets its arguments as they were given.
TEST(House, SlotsKeepTheirNumbers) {
    testing::StrictMock<CMockStorage> storage;
    CLocalStorageInterface* const pEngine = &storage;
    tagStoreInfo stInfo;
    recFileInfo stFile;
    recQueryParam stQuery;
    CVexList<pathNode>* pList = nullptr;
    tagBlockTime stDay;
    char szCamera[] = "cam01_1_0", szData[] = "data", szPath[LOCALSTORAGE_PATH_SIZE];
    int nUser = 0;

    EXPECT_CALL(storage, Initialize(Address(&stInfo))).WillOnce(Return(true));
    EXPECT_TRUE(CallInitialize(pEngine, stInfo));
    EXPECT_CALL(storage, OpenChannelRecord(szCamera, &nUser, Address(&stFile)))
        .WillOnce(Return(true));
    EXPECT_TRUE(CallOpen(pEngine, szCamera, &nUser, stFile));
    EXPECT_CALL(storage, WriteData(szCamera, 1, szData, 4, Address(&stFile)))
        .WillOnce(Return(true));
    EXPECT_TRUE(CallWrite(pEngine, szCamera, 1, szData, 4, stFile));
    EXPECT_CALL(storage, CloseChannelRecord(szCamera, Address(&stFile))).WillOnce(Return(true));
    EXPECT_TRUE(CallClose(pEngine, szCamera, stFile));
    EXPECT_CALL(storage, QueryRecFile(Address(&stQuery), &pList)).WillOnce(Return(true));
    EXPECT_TRUE(CallQuery(pEngine, stQuery, &pList));
    EXPECT_CALL(storage, GetDiskWriteSpeed()).WillOnce(Return(4000000000u));
    EXPECT_EQ(CallGetDiskWriteSpeed(pEngine), 4000000000u);
    EXPECT_CALL(storage, GetLastError()).WillOnce(Return(-20));
    EXPECT_EQ(CallGetLastError(pEngine), -20);
    EXPECT_CALL(storage, WriteImage(szCamera, szData, 4, szPath)).WillOnce(Return(true));
    EXPECT_TRUE(CallWriteImage(pEngine, szCamera, szData, 4, szPath));
    EXPECT_CALL(storage, DeleteImagesByDay(Address(&stDay))).WillOnce(Return(true));
    EXPECT_TRUE(CallDeleteImagesByDay(pEngine, stDay));
    EXPECT_CALL(storage, Release()).WillOnce(Return(true));
    EXPECT_TRUE(CallRelease(pEngine));
    EXPECT_CALL(storage, Destroyed());
}

// Number 0 destroys in place; number 1 frees as well (a leak checker sees it when it does not).
TEST(House, DestructorsAreTheFirstTwoSlots) {
    alignas(CMockStorage) unsigned char memory[sizeof(CMockStorage)];
    auto* const pInPlace = new (memory) CMockStorage;
    EXPECT_CALL(*pInPlace, Destroyed());
    CallDestructor(static_cast<CLocalStorageInterface*>(pInPlace));

    auto* const pOnHeap = new CMockStorage;
    EXPECT_CALL(*pOnHeap, Destroyed());
    CallDeletingDestructor(static_cast<CLocalStorageInterface*>(pOnHeap));
}

}  // namespace
