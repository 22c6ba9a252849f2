// Files a clip whose times are known as a remote backup, and finds it again:
//     import_clip liblocalstorage.so /disk1/ front_door clip.mp4 /var/log/host
// It loads the library at run time, so it starts on machines that do not have it.
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <localstorage/LocalStorageLog.h>

namespace {

/// What the library exports under a name; Function is the type of its declaration.
template <typename Function>
Function* Find(void* pLibrary, const char* pName) {
    return reinterpret_cast<Function*>(dlsym(pLibrary, pName));
}

/// Half an hour of a day long ago; a real host takes it from where the clip came from.
void SetTimes(tagBlockTime& stStart, tagBlockTime& stEnd) {
    stStart.wYear = 2024;
    stStart.byMonth = 3;
    stStart.byDay = 5;
    stStart.byHour = 8;
    stEnd = stStart;
    stEnd.byMinute = 30;
}

bool Import(CLocalStorageInterface& storage, char* pCamera, const char* pClip) {
    recFileInfo stFile;
    SetTimes(stFile.stStartTime, stFile.stEndTime);
    std::FILE* const pInput = std::fopen(pClip, "rb");
    if (!pInput) return false;
    bool bDone = storage.OpenChannelRecord(pCamera, nullptr, stFile);
    char buffer[65536];
    while (bDone) {
        const std::size_t nRead = std::fread(buffer, 1, sizeof(buffer), pInput);
        if (nRead == 0) break;
        bDone = storage.WriteData(pCamera, 0, buffer, static_cast<unsigned int>(nRead), stFile);
    }
    std::fclose(pInput);
    return bDone && storage.CloseChannelRecord(pCamera, stFile);
}

bool PrintRecordings(CLocalStorageInterface& storage, const char* pCamera) {
    recQueryParam stQuery;  // every kind of recording
    SetTimes(stQuery.stQueryStartTime, stQuery.stQueryEndTime);
    std::strncpy(stQuery.szCameraID, pCamera, sizeof(stQuery.szCameraID) - 1);
    CVexList<pathNode>* pList = nullptr;  // stays the engine's
    if (!storage.QueryRecFile(stQuery, &pList)) return false;
    for (const pathNode& stPath : *pList) std::printf("%s\n", stPath.szPath);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 2;
    void* const pLibrary = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!pLibrary) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    Find<decltype(EnableTarget)>(pLibrary, "EnableTarget")(LOG_TARGET_FILE, argv[5], 0, 1);

    tagStoreInfo stInfo;  // remote-backup layout, no analysis: the bytes are stored as they are
    pathNode stDisk;
    std::strncpy(stDisk.szPath, argv[2], sizeof(stDisk.szPath) - 1);
    stInfo.lsRecDir.push_back(stDisk);

    CLocalStorageInterface* pStorage = nullptr;
    bool bDone = Find<decltype(NewLocalStorageClass)>(pLibrary, "NewLocalStorageClass")(&pStorage);
    bDone = bDone && pStorage->Initialize(stInfo) && Import(*pStorage, argv[3], argv[4]) &&
            PrintRecordings(*pStorage, argv[3]);
    if (!bDone && pStorage) std::fprintf(stderr, "failed, code %d\n", pStorage->GetLastError());
    Find<decltype(DelLocalStorageClass)>(pLibrary, "DelLocalStorageClass")(&pStorage);
    dlclose(pLibrary);
    return bDone ? 0 : 1;
}
