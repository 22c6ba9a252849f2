// Calls the operations of an engine as a host built by another compiler does: by their number in
// the table that the object points to, counted from 0.

#ifndef LOCALSTORAGE_TESTS_HOUSE_SLOTCALLS_H
#define LOCALSTORAGE_TESTS_HOUSE_SLOTCALLS_H

#include "localstorage/LocalStorage.h"

void CallDestructor(void* pEngine);                             ///< 0: destroys, keeps the memory
void CallDeletingDestructor(void* pEngine);                     ///< 1: destroys and frees
bool CallInitialize(void* pEngine, tagStoreInfo& stStoreInfo);  ///< 2
bool CallRelease(void* pEngine);                                ///< 3
bool CallOpen(void* pEngine, char* pCameraID, void* pUser, recFileInfo& stFile);  ///< 4
bool CallClose(void* pEngine, char* pCameraID, recFileInfo& stFile);              ///< 5
bool CallWrite(void* pEngine, char* pCameraID, unsigned int nDataType, char* pBuf,
               unsigned int nSize, recFileInfo& stFile);                             ///< 6
bool CallQuery(void* pEngine, recQueryParam& stParam, CVexList<pathNode>** ppList);  ///< 7
unsigned int CallGetDiskWriteSpeed(void* pEngine);                                   ///< 8
int CallGetLastError(void* pEngine);                                                 ///< 9
bool CallWriteImage(void* pEngine, const char* pCameraID, const char* pBuf, unsigned int nSize,
                    char* pImgPath);                                   ///< 10
bool CallDeleteImagesByDay(void* pEngine, const tagBlockTime& stDay);  ///< 11

#endif  // LOCALSTORAGE_TESTS_HOUSE_SLOTCALLS_H
