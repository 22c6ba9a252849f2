// Knows the numbers and nothing of the class.

#include "House/SlotCalls.h"

namespace {

template <typename Result, typename... Arg>
Result Call(void* pEngine, int nSlot, Arg... arg) {
    using Operation = Result (*)(void*, Arg...);
    void** const pTable = *static_cast<void***>(pEngine);
    return reinterpret_cast<Operation>(pTable[nSlot])(pEngine, arg...);
}

}  // namespace

void CallDestructor(void* pEngine) {
    Call<void>(pEngine, 0);
}

void CallDeletingDestructor(void* pEngine) {
    Call<void>(pEngine, 1);
}

bool CallInitialize(void* pEngine, tagStoreInfo& stStoreInfo) {
    return Call<bool>(pEngine, 2, &stStoreInfo);
}

bool CallRelease(void* pEngine) {
    return Call<bool>(pEngine, 3);
}

bool CallOpen(void* pEngine, char* pCameraID, void* pUser, recFileInfo& stFile) {
    return Call<bool>(pEngine, 4, pCameraID, pUser, &stFile);
}

bool CallClose(void* pEngine, char* pCameraID, recFileInfo& stFile) {
    return Call<bool>(pEngine, 5, pCameraID, &stFile);
}

bool CallWrite(void* pEngine, char* pCameraID, unsigned int nDataType, char* pBuf,
               unsigned int nSize, recFileInfo& stFile) {
    return Call<bool>(pEngine, 6, pCameraID, nDataType, pBuf, nSize, &stFile);
}

bool CallQuery(void* pEngine, recQueryParam& stParam, CVexList<pathNode>** ppList) {
    return Call<bool>(pEngine, 7, &stParam, ppList);
}

unsigned int CallGetDiskWriteSpeed(void* pEngine) {
    return Call<unsigned int>(pEngine, 8);
}

int CallGetLastError(void* pEngine) {
    return Call<int>(pEngine, 9);
}

bool CallWriteImage(void* pEngine, const char* pCameraID, const char* pBuf, unsigned int nSize,
                    char* pImgPath) {
    return Call<bool>(pEngine, 10, pCameraID, pBuf, nSize, pImgPath);
}

bool CallDeleteImagesByDay(void* pEngine, const tagBlockTime& stDay) {
    return Call<bool>(pEngine, 11, &stDay);
}
