#include "Catalogue/Status.h"

#include <algorithm>

#include "Catalogue/Tree.h"

namespace {

/// How fast a disk is filled: by what was recorded there in the last days.
class CFilling {
public:
    void Add(const recording& st) {
        if (st.tStart < m_tNow - std::chrono::days(7) || st.tStart > m_tNow) return;
        m_tFirst = std::min(m_tFirst, st.tStart);
        m_nBytes += st.nBytes;
    }
    std::optional<UtcTime::duration> UntilFull(const diskRoom& stRoom) const {
        if (m_nBytes == 0) return std::nullopt;
        constexpr std::uint64_t FULL = std::uint64_t(LOCALSTORAGE_DISK_FULL_SPACE) << 20;
        const auto nRoom =
            static_cast<double>(stRoom.nFreeBytes - std::min(stRoom.nFreeBytes, FULL));
        const std::chrono::duration<double> nTime =
            std::max<UtcTime::duration>(m_tNow - m_tFirst, Seconds(1));
        const double fSeconds = nTime.count() * nRoom / static_cast<double>(m_nBytes);
        return Seconds(static_cast<std::int64_t>(std::min(fSeconds, LONGEST)));
    }

private:
    static constexpr double LONGEST = 100 * 366 * 86400.0;

    const UtcTime m_tNow = Now();
    UtcTime m_tFirst = m_tNow;
    std::uint64_t m_nBytes = 0;
};

}  // namespace

DiskStatuses StatusOfDisks(const std::vector<std::string>& vDirs,
                           const found<recording>& stRecordings) {
    DiskStatuses vDisks;
    const CFolderInUse objFolder(vDirs);
    for (const std::string& strDir : vDirs) {
        vDisks.emplace_back(strDir, StatusOfDisk(strDir, stRecordings, objFolder));
    }
    return vDisks;
}

UnreadFolders UnreadOf(const DiskStatuses& vDisks) {
    UnreadFolders mUnread;
    for (const auto& [strDir, st] : vDisks) mUnread.insert(st.mUnread.begin(), st.mUnread.end());
    return mUnread;
}

diskStatus StatusOfDisk(const std::string& strDir, const found<recording>& stRecordings,
                        const CFolderInUse& objFolder) {
    diskStatus st;
    st.bMissing = !Exists(strDir);
    st.stRoom = DiskRoomOf(strDir);
    const std::string strInUse = objFolder.In(strDir);
    if (Exists(strDir + "/" + strInUse)) st.strFolder = strInUse;
    CFilling objFilling;
    for (const recording& stRecording : stRecordings.vFound) {
        if (stRecording.strDir != strDir) continue;
        objFilling.Add(stRecording);
        st.setDays.insert(stRecording.strDay);
        ++st.nRecordings;
        st.nBytes += stRecording.nBytes;
    }
    st.optUntilFull = objFilling.UntilFull(st.stRoom);
    found<picture> stPictures = SearchPictures({strDir});
    for (const picture& stPicture : stPictures.vFound) {
        ++st.nPictures;
        st.nPictureBytes += stPicture.nBytes;
    }
    st.mUnread = std::move(stPictures.mUnread);
    for (const auto& stUnread : stRecordings.mUnread) {
        if (stUnread.first.starts_with(strDir + "/")) st.mUnread.insert(stUnread);
    }
    return st;
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
