#include "Catalogue/Status.h"

#include <algorithm>

#include "Catalogue/FolderInUse.h"
#include "Catalogue/Tree.h"

DiskStatuses StatusOfDisks(const std::vector<std::string>& vDirs,
                           const std::vector<recording>& vRecordings) {
    DiskStatuses vDisks;
    const CFolderInUse objFolder(vDirs);
    for (const std::string& strDir : vDirs) {
        diskStatus st;
        st.bMissing = !Exists(strDir);
        st.stRoom = DiskRoomOf(strDir);
        const std::string strInUse = objFolder.In(strDir);
        if (Exists(strDir + "/" + strInUse)) st.strFolder = strInUse;
        for (const recording& stRecording : vRecordings) {
            if (stRecording.strDir != strDir) continue;
            st.setDays.insert(stRecording.strDay);
            ++st.nRecordings;
            st.nBytes += stRecording.nBytes;
        }
        for (const picture& stPicture : FindPictures({strDir})) {
            ++st.nPictures;
            st.nPictureBytes += stPicture.nBytes;
        }
        vDisks.emplace_back(strDir, std::move(st));
    }
    return vDisks;
}

CameraStatuses StatusOfCameras(const std::vector<recording>& vRecordings, UtcTime tNow,
                               const std::vector<std::string>& vExpected) {
    const timeSpan stToday{SinceMidnight(tNow).tStart, tNow};
    CameraStatuses mCameras;
    for (const std::string& strCamera : vExpected) mCameras[strCamera];
    for (const recording& stRecording : vRecordings) {
        cameraStatus& st = mCameras[stRecording.strCamera];
        const timeSpan stSpan = stRecording.Span();
        ++st.nRecordings;
        st.nBytes += stRecording.nBytes;
        st.bLive |= stRecording.IsClient();
        st.stWhole = {std::min(st.stWhole.tStart, stSpan.tStart),
                      std::max(st.stWhole.tEnd, stSpan.tEnd)};
        st.vToday.push_back(Clip(stSpan, stToday));
    }
    for (auto& [strCamera, st] : mCameras) {
        st.vToday = Merge(std::move(st.vToday));
        st.bStopped = st.bLive && st.stWhole.tEnd < tNow - CAMERA_SILENCE;
    }
    return mCameras;
}
