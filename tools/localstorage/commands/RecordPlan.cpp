#include "commands/RecordPlan.h"

#include "base/Failure.h"
#include "help/CommonOptions.h"

namespace {

/// Throws CUsageError where FFmpeg does not know one. Values may be secret and are never told.
void AddInputOptions(const cameraSettings& stSettings, mediaOptions& stOptions) {
    for (const std::string& strText : stSettings.vInputOptions) {
        stOptions.vForInput.push_back(SplitPair(strText));
        const std::string& strName = stOptions.vForInput.back().first;
        if (IsInputOption(strName)) continue;
        throw CUsageError((stSettings.strWhere.empty() ? "" : stSettings.strWhere + ": ") +
                          "--input-option: \"" + strName +
                          "\": FFmpeg has no option of this name for inputs");
    }
}

cameraPlan PlanCamera(const std::string& strCamera, const cameraSettings& stSettings) {
    constexpr auto OPENING = std::chrono::seconds(15);
    cameraPlan st;
    st.strCamera = strCamera;
    st.strInput = stSettings.strInput;
    st.stOptions = {
        OPENING, SpanOf(stSettings.strStall), {{"rtsp_transport", stSettings.strRtspTransport}}};
    AddInputOptions(stSettings, st.stOptions);
    st.stForm = stSettings.stForm;
    st.stOptions.eAudio = st.stForm.Audio();
    st.bRetry = stSettings.bRetry;
    st.bRealTime = stSettings.strPace == "real";
    if (!stSettings.strSnapshotEvery.empty()) {
        st.nSnapshotEvery = SpanOf(stSettings.strSnapshotEvery);
    }
    return st;
}

}  // namespace

std::vector<cameraPlan> PlanCameras(const recordOptions& st) {
    std::vector<cameraPlan> vPlans;
    for (const auto& [strCamera, stSettings] : AllCameras(st)) {
        // Told before anything is recorded; in a file, one camera's mistake is not the others'.
        if (stSettings.strWhere.empty()) AddressOf(stSettings.strInput);
        vPlans.push_back(PlanCamera(strCamera, stSettings));
    }
    if (vPlans.empty()) {
        throw CUsageError(
            "no camera is given, neither by --camera nor as [camera.NAME] in a "
            "--config");
    }
    if (vPlans.size() > MOST_CAMERAS) {
        throw CUsageError("at most " + std::to_string(MOST_CAMERAS) +
                          " cameras can be recorded at once");
    }
    return vPlans;
}

keepPlan PlanKeeping(const recordOptions& st) {
    keepPlan stPlan{{st.stCommon.nKeepDays, {}}, {st.stCommon.nSnapshotKeepDays, {}}};
    for (const auto& [strCamera, stSettings] : AllCameras(st)) {
        stPlan.stRecordings.mOfCameras[strCamera] = stSettings.nKeepDays;
        stPlan.stPictures.mOfCameras[strCamera] = stSettings.nSnapshotKeepDays;
    }
    return stPlan;
}
