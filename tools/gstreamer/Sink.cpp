#include "gstreamer/Sink.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <new>
#include <sstream>
#include <vector>

namespace {

/// For so long an element goes on whose writes fail. By then the engine has looked at its disks,
/// has deleted where it may, and a key frame has come at which it can go to another disk.
constexpr auto PATIENCE = std::chrono::seconds(30);

class CMappedBuffer {
public:
    explicit CMappedBuffer(GstBuffer* pBuffer) : m_pBuffer(pBuffer) {
        if (!gst_buffer_map(pBuffer, &m_stMap, GST_MAP_READ)) throw std::bad_alloc();
    }
    ~CMappedBuffer() { gst_buffer_unmap(m_pBuffer, &m_stMap); }
    CMappedBuffer(const CMappedBuffer&) = delete;
    CMappedBuffer& operator=(const CMappedBuffer&) = delete;

    std::string_view Bytes() const {
        return {reinterpret_cast<const char*>(m_stMap.data), m_stMap.size};
    }

private:
    GstBuffer* const m_pBuffer;
    GstMapInfo m_stMap;
};

std::vector<std::string> SplitLocation(const std::string& strLocation) {
    std::vector<std::string> vDirs;
    std::istringstream text(strLocation);
    for (std::string strDir; std::getline(text, strDir, ':');) {
        strDir = std::filesystem::absolute(strDir).lexically_normal();
        while (strDir.size() > 1 && strDir.back() == '/') strDir.pop_back();
        vDirs.push_back(strDir);
    }
    return vDirs;
}

/// What clocks show here then, counted in seconds as if it were UTC.
std::time_t LocalSeconds(std::time_t tTime) {
    std::tm stTm{};
    localtime_r(&tTime, &stTm);
    return timegm(&stTm);
}

tagBlockTime BlockTime(std::time_t tLocal) {
    std::tm stTm{};
    gmtime_r(&tLocal, &stTm);
    tagBlockTime st;
    st.wYear = static_cast<std::uint16_t>(stTm.tm_year + 1900);
    st.byMonth = static_cast<std::uint8_t>(stTm.tm_mon + 1);
    st.byDay = static_cast<std::uint8_t>(stTm.tm_mday);
    st.byHour = static_cast<std::uint8_t>(stTm.tm_hour);
    st.byMinute = static_cast<std::uint8_t>(stTm.tm_min);
    st.bySecond = static_cast<std::uint8_t>(stTm.tm_sec);
    return st;
}

}  // namespace

void CSink::Start() {
    engineSettings& stEngine = m_stSettings.stEngine;
    stEngine.vDirs = SplitLocation(m_stSettings.strLocation);
    const auto refuse = [](const char* pText) { throw CFault(GST_RESOURCE_ERROR_SETTINGS, pText); };
    if (m_stSettings.strCamera.empty()) refuse("no camera is set");
    if (stEngine.vDirs.empty()) refuse("no location is set");
    if (!IsClientLayout() && m_stSettings.nFileDuration == 0) {
        refuse("the remote-backup layout needs a file-duration: names tell when recordings end");
    }
    m_nRunningTime = GST_CLOCK_TIME_NONE;
    m_optEngine.emplace(stEngine, m_stSettings.strLogLocation);
}

void CSink::Stop() {
    EndFile();
    m_optSets.reset();
    m_optFailing.reset();
    m_optEngine.reset();
}

// Other caps, another stream: it has a file of its own.
void CSink::SetCaps(const GstCaps* pCaps) {
    EndFile();
    m_optSets.reset();
    const GstStructure* const pStream = gst_caps_get_structure(pCaps, 0);
    if (gst_structure_has_name(pStream, "video/x-h264")) m_optSets.emplace(ECodec::H264);
    if (gst_structure_has_name(pStream, "video/x-h265")) m_optSets.emplace(ECodec::H265);
}

/// Of a buffer without a time of its own: when it comes. Times go on backwards from the segment's
/// start, where the key frame in front of a seek's target lies.
GstClockTime CSink::RunningTimeOf(GstBuffer* pBuffer) const {
    const GstSegment& stSegment = m_pElement->segment;
    if (stSegment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(pBuffer)) {
        return gst_element_get_current_running_time(GST_ELEMENT(m_pElement));
    }
    guint64 nTime = GST_CLOCK_TIME_NONE;
    const int nSign = gst_segment_to_running_time_full(&stSegment, GST_FORMAT_TIME,
                                                       GST_BUFFER_PTS(pBuffer), &nTime);
    return nSign < 0 ? 0 : nTime;
}

void CSink::Render(GstBuffer* pBuffer) {
    const bool bKeyFrame = !GST_BUFFER_FLAG_IS_SET(pBuffer, GST_BUFFER_FLAG_DELTA_UNIT);
    m_nRunningTime = RunningTimeOf(pBuffer);
    if (IsFileOver(bKeyFrame)) EndFile();
    if (!m_optFile) {
        m_optFile.emplace(m_optEngine->Engine(), m_stSettings.strCamera, NextFile());
        m_tFileBegan = Clock::now();
    }
    const bool bWritten = Write(CMappedBuffer(pBuffer).Bytes(), bKeyFrame);
    PostEvents();
    JudgeWrite(bWritten);
    if (GST_CLOCK_TIME_IS_VALID(m_nRunningTime) && GST_BUFFER_DURATION_IS_VALID(pBuffer)) {
        m_nRunningTime += GST_BUFFER_DURATION(pBuffer);
    }
}

void CSink::EndOfStream() {
    EndFile();
    if (m_optFailing) throw WriteFault();  // nothing comes that could still be written
}

/// The engine itself cuts files of the client layout, and names them.
bool CSink::IsFileOver(bool bKeyFrame) const {
    return m_optFile && bKeyFrame && !IsClientLayout() &&
           Clock::now() - m_tFileBegan >= std::chrono::seconds(m_stSettings.nFileDuration);
}

recFileInfo CSink::NextFile() const {
    recFileInfo st;
    const std::time_t tNow = std::time(nullptr), tStart = LocalSeconds(tNow);
    const guint nLength = std::max(m_stSettings.nFileDuration, 1u) - 1;
    st.stStartTime = BlockTime(tStart);
    // Where clocks are set back meanwhile, it does not end before it starts.
    st.stEndTime = BlockTime(std::max(LocalSeconds(tNow + nLength), tStart + nLength));
    st.enumRecordType = static_cast<RecordType>(m_stSettings.nRecordType);
    return st;
}

bool CSink::Write(std::string_view strUnit, bool bKeyFrame) {
    if (!m_optSets || !bKeyFrame) return m_optFile->Write(strUnit);
    const auto [nAt, strSets] = m_optSets->Complete(strUnit);
    bool bWritten = true;
    for (const std::string_view strPiece :
         {strUnit.substr(0, nAt), std::string_view(strSets), strUnit.substr(nAt)}) {
        bWritten &= m_optFile->Write(strPiece);
    }
    return bWritten;
}

void CSink::EndFile() {
    if (!m_optFile) return;
    m_optFile->Close();
    PostEvents();
    m_optFile.reset();
    if (m_bToldFailure) NoteFailure();
}

void CSink::JudgeWrite(bool bWritten) {
    if (bWritten && !m_bToldFailure) {
        m_optFailing.reset();
        m_nError = 0;
    } else {
        NoteFailure();
        if (Clock::now() - *m_optFailing > PATIENCE) throw WriteFault();
    }
}

/// A bad write is no error by itself: the engine may go to another disk.
void CSink::NoteFailure() {
    if (m_optFailing) return;
    m_optFailing = Clock::now();
    Post(GST_MESSAGE_WARNING, WriteFault());
}

CFault CSink::WriteFault() const {
    const bool bFull = m_nError == ENOSPC || m_nError == EDQUOT;
    return {bFull ? GST_RESOURCE_ERROR_NO_SPACE_LEFT : GST_RESOURCE_ERROR_WRITE,
            "cannot write the recording of " + m_stSettings.strCamera + ": " +
                (m_nError ? g_strerror(m_nError) : "the engine refused it, its log tells why")};
}

void CSink::PostEvents() {
    m_bToldFailure = false;
    for (const recordingEvent& st : m_optFile->TakeEvents()) {
        if (st.eMessage == MESSAGEVALUE_CREATEFILE) {
            PostFragment("localstoragesink-fragment-opened", st.strPath);
        } else if (st.eMessage == MESSAGEVALUE_CLOSEFILE) {
            PostFragment("localstoragesink-fragment-closed", st.strPath);
        } else {
            m_bToldFailure = true;
            m_nError = st.nError;
        }
    }
}

void CSink::PostFragment(const char* pName, const std::string& strPath) {
    GstStructure* const pStructure =
        gst_structure_new(pName, "location", G_TYPE_STRING, strPath.c_str(), "running-time",
                          GST_TYPE_CLOCK_TIME, m_nRunningTime, nullptr);
    gst_element_post_message(GST_ELEMENT(m_pElement),
                             gst_message_new_element(GST_OBJECT(m_pElement), pStructure));
}

void CSink::Post(GstMessageType eType, const CFault& fault) {
    gst_element_message_full(GST_ELEMENT(m_pElement), eType, GST_RESOURCE_ERROR, fault.Code(),
                             g_strdup(fault.what()), nullptr, __FILE__, GST_FUNCTION, __LINE__);
}
