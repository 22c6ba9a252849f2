// Records one camera's stream (H.264, H.265, MPEG program or transport stream), as it comes on
// standard input, until it ends, in files of so many MiB:
//     ffmpeg -i rtsp://camera -c copy -f h264 - | record_camera /disk1/ front_door /var/log/host 64
#include <cstdio>
#include <cstdlib>
#include <localstorage/LocalStorageLog.h>

static int OnMessage(int nMsgType, void* pData, unsigned int, void*) {
    if (nMsgType == MESSAGEVALUE_CREATEFILE) {
        std::printf("%s\n", static_cast<recFileEvent*>(pData)->szFileName);
    }
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    EnableTarget(LOG_TARGET_FILE, argv[3], 0, 1);  // the library's log: two files of 50 MiB in turn

    tagStoreInfo stInfo;  // a full disk deletes its oldest day, unless bAutoDelete is false
    pathNode stDisk;
    std::snprintf(stDisk.szPath, sizeof(stDisk.szPath), "%s", argv[1]);
    stInfo.lsRecDir.push_back(stDisk);
    stInfo.enumStorageType = LOCAL_STORAGE_CLIENT;  // named from the clock, cut by size
    stInfo.nFileSize = static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10));
    stInfo.bAnalyze = true;  // every file begins with a key frame
    stInfo.pFunCallback = OnMessage;

    CLocalStorageInterface* pStorage = nullptr;
    recFileInfo stFile;
    char buffer[65536];
    bool bDone = NewLocalStorageClass(&pStorage) && pStorage->Initialize(stInfo) &&
                 pStorage->OpenChannelRecord(argv[2], nullptr, stFile) &&
                 pStorage->WriteData(argv[2], 1, buffer, 0, stFile);  // 1: header, here none
    while (bDone) {
        const std::size_t nRead = std::fread(buffer, 1, sizeof(buffer), stdin);
        if (nRead == 0) break;
        bDone = pStorage->WriteData(argv[2], 0, buffer, static_cast<unsigned int>(nRead), stFile);
    }
    if (bDone) pStorage->CloseChannelRecord(argv[2], stFile);
    if (!bDone && pStorage) std::fprintf(stderr, "failed, code %d\n", pStorage->GetLastError());
    DelLocalStorageClass(&pStorage);
    return bDone ? 0 : 1;
}
