#include "media/MediaOpening.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <span>
#include <string_view>

extern "C" {
#include <libavutil/opt.h>
}

#include "base/Text.h"

namespace {

constexpr auto LAST_WORD = std::chrono::seconds(2);

// No file name begins so: FFmpeg takes what stands in front of a colon for a protocol.
constexpr std::string_view VARIABLE = "env:", ADDRESS_FILE = "address-file:";

constexpr std::string_view LIVE_SCHEMES[] = {"rtsp",  "rtsps",  "rtmp", "rtmps", "rtmpt", "rtmpts",
                                             "rtmpe", "rtmpte", "srt",  "udp",   "rtp",   "udplite",
                                             "srtp",  "tcp",    "tls",  "unix",  "rist",  "mmsh",
                                             "mmst",  "sctp",   "zmq",  "amqp"};
constexpr std::string_view WEB_SCHEMES[] = {"http", "https"};

template <std::size_t N>
bool Holds(const std::string_view (&aTexts)[N], std::string_view strText) {
    return std::find(std::begin(aTexts), std::end(aTexts), strText) != std::end(aTexts);
}

/// Of the file that an address names; standard input and other open pipes have one, too.
std::string PathOf(const std::string& strAddress) {
    if (strAddress == "-" || strAddress == "pipe:") return "/dev/fd/0";
    if (strAddress.starts_with("pipe:")) return "/dev/fd/" + strAddress.substr(5);
    return strAddress.starts_with("file:") ? strAddress.substr(5) : strAddress;
}

bool IsInherited(const std::string& strPath) {
    return strPath.starts_with("/dev/fd/") || strPath == "/dev/stdin";
}

int EndsWaiting(void* pGuard) {
    return static_cast<CInputGuard*>(pGuard)->EndsWaiting() ? 1 : 0;
}

/// Why FFmpeg gave up.
std::string ReasonOf(int nError, CInputGuard& objGuard) {
    if (objGuard.IsStopped()) return "stopped";
    if (objGuard.IsSilent()) {
        return (objGuard.HaveOthersCome() ? "no picture came for " : "nothing came for ") +
               Count(static_cast<std::uint64_t>(objGuard.Patience().count()), "second");
    }
    if (nError == AVERROR_HTTP_UNAUTHORIZED || nError == AVERROR_HTTP_FORBIDDEN) {
        return "it refused the user or password";
    }
    return AvErrorText(nError);
}

/// What FFmpeg is to open. It would wait for a pipe's writer in a call that nothing ends, so it
/// gets the pipe once there is one.
std::string OpenPipe(const std::string& strAddress, openMedia& stMedia) {
    const std::string strPath = PathOf(strAddress);
    std::error_code error;
    if (!std::filesystem::is_fifo(strPath, error)) return strAddress == "-" ? strPath : strAddress;
    stMedia.pFifo = std::make_unique<CFifo>(strPath);
    while (!stMedia.pFifo->HasCome()) {
        if (!stMedia.pGuard->EndsWaiting()) continue;
        throw CFailure("cannot open " + stMedia.strName + ": " + ReasonOf(0, *stMedia.pGuard));
    }
    return "pipe:" + std::to_string(stMedia.pFifo->Descriptor());
}

void OpenContainer(const std::string& strAddress, const mediaOptions& stOptions,
                   openMedia& stMedia) {
    AVFormatContext* pFormat = avformat_alloc_context();
    if (!pFormat) throw CFailure("no memory to open " + stMedia.strName);
    pFormat->interrupt_callback = {EndsWaiting, stMedia.pGuard.get()};
    if (stMedia.pFile) pFormat->pb = stMedia.pFile->Context();
    AVDictionary* pOptions = nullptr;
    for (const auto& [strName, strValue] : stOptions.vForInput) {
        av_dict_set(&pOptions, strName.c_str(), strValue.c_str(), 0);
    }
    const int nResult = avformat_open_input(&pFormat, strAddress.c_str(), nullptr, &pOptions);
    av_dict_free(&pOptions);
    if (nResult < 0) {
        throw CFailure("cannot open " + stMedia.strName + ": " +
                       ReasonOf(nResult, *stMedia.pGuard));
    }
    stMedia.pFormat.reset(pFormat);
}

/// What only the opened container tells: a description of a session is a file, the session is live;
/// what a web server sends is a file when its end is known.
ESource SourceOf(const AVFormatContext& st, ESource eThought) {
    const std::string_view strFormat = st.iformat->name;
    if (strFormat == "sdp") return ESource::Live;
    if (eThought != ESource::Web) return eThought;
    const bool bList = strFormat == "hls" || strFormat == "dash";
    const bool bEnds = bList ? st.duration != AV_NOPTS_VALUE : st.pb && avio_size(st.pb) > 0;
    return bEnds ? ESource::File : ESource::Live;
}

/// An SRT receiver hands out what came after the longer of both sides' delays, each of which is the
/// usual one where nobody sets it; the other side's is not told.
std::chrono::microseconds DelayOf(const openMedia& stMedia) {
    constexpr std::int64_t USUAL = 120000;
    AVIOContext* pIo = stMedia.pFormat->pb;
    if (!pIo || !stMedia.strName.starts_with("srt:")) return {};
    std::int64_t nOwn = 0;
    if (av_opt_get_int(pIo, "latency", AV_OPT_SEARCH_CHILDREN, &nOwn) < 0) return {};
    return std::chrono::microseconds(std::max(nOwn, USUAL));
}

bool IsVideo(const AVStream& st) {
    return st.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
}

ECodec CodecOf(const AVStream& st) {
    switch (st.codecpar->codec_id) {
        case AV_CODEC_ID_H264:
            return ECodec::H264;
        case AV_CODEC_ID_HEVC:
            return ECodec::H265;
        default:
            return ECodec::Unknown;
    }
}

void FindTracks(openMedia& stMedia, EAudio eAudio) {
    for (unsigned n = 0; n < stMedia.pFormat->nb_streams; ++n) {
        AVStream* pStream = stMedia.pFormat->streams[n];
        if (IsVideo(*pStream) && !stMedia.pStream) stMedia.pStream = pStream;
        const bool bAudio = pStream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (bAudio && eAudio == EAudio::Yes && !stMedia.pAudio) stMedia.pAudio = pStream;
        if (!stMedia.Has(*pStream)) pStream->discard = AVDISCARD_ALL;
    }
    if (!stMedia.pStream) throw CFailure(stMedia.strName + " has no video stream");
    stMedia.eCodec = CodecOf(*stMedia.pStream);
    if (stMedia.eCodec == ECodec::Unknown) {
        throw CFailure(stMedia.strName + " carries " +
                       avcodec_get_name(stMedia.pStream->codecpar->codec_id) +
                       " video; only H.264 and H.265 can be stored");
    }
}

}  // namespace

ESource SourceOf(const std::string& strAddress) {
    const std::string_view strScheme = std::string_view(strAddress).substr(0, strAddress.find(':'));
    if (strScheme.size() < strAddress.size()) {
        if (Holds(LIVE_SCHEMES, strScheme)) return ESource::Live;
        if (Holds(WEB_SCHEMES, strScheme)) return ESource::Web;
    }
    const std::string strPath = PathOf(strAddress);
    std::error_code error;
    const auto eType = std::filesystem::status(strPath, error).type();
    if (eType != std::filesystem::file_type::fifo &&
        eType != std::filesystem::file_type::character) {
        return ESource::File;
    }
    return IsInherited(strPath) ? ESource::Pipe : ESource::Live;
}

std::string AddressOf(const std::string& strInput) {
    if (strInput.starts_with(VARIABLE)) {
        const std::string strName = strInput.substr(VARIABLE.size());
        const char* pValue = std::getenv(strName.c_str());
        if (pValue && *pValue) return pValue;
        throw CFailure("the variable " + strName + ", which should hold an address, is not set");
    }
    if (!strInput.starts_with(ADDRESS_FILE)) return strInput;
    const std::string strPath = strInput.substr(ADDRESS_FILE.size());
    std::ifstream file(strPath);
    std::string strAddress;
    std::getline(file, strAddress);
    strAddress.erase(strAddress.find_last_not_of(" \t\r") + 1);
    if (strAddress.empty()) throw CFailure("no address can be read from " + strPath);
    return strAddress;
}

bool IsInputOption(const std::string& strName) {
    const AVClass* pClass = avformat_get_class();
    return av_opt_find(&pClass, strName.c_str(), nullptr, 0,
                       AV_OPT_SEARCH_CHILDREN | AV_OPT_SEARCH_FAKE_OBJ) != nullptr;
}

CInputGuard::CInputGuard(const std::atomic<bool>* pStop, const mediaOptions& stOptions)
    : m_pStop(pStop),
      m_nStall(stOptions.nStall),
      m_pHeartbeat(stOptions.pHeartbeat),
      m_nLeft(m_nStall) {
    Expect(stOptions.nOpening, stOptions.nOpening);
}

void CInputGuard::Expect(std::chrono::seconds nPatience, Clock::duration nLeft) {
    if (m_bSilent) return;
    m_nPatience = nPatience;
    m_tDeadline = Clock::now() + nLeft;
}

void CInputGuard::Rearm() {
    Expect(m_nStall, m_nLeft);
}

void CInputGuard::Note(bool bPicture) {
    if (m_bSilent) return;
    m_nLeft = bPicture ? m_nStall : m_tDeadline - Clock::now();
    m_bOthersCame = !bPicture;
}

bool CInputGuard::EndsWaiting() {
    if (m_pHeartbeat) m_pHeartbeat->Beat();
    return IsStopped() || IsSilent();
}

bool CInputGuard::IsSilent() {
    m_bSilent = m_bSilent || Clock::now() > m_tDeadline;
    return m_bSilent;
}

void CInputGuard::BeginClosing() {
    m_pStop = nullptr;
    m_bSilent = false;
    Expect(LAST_WORD, LAST_WORD);
}

void closeGuarded::operator()(AVFormatContext* p) const {
    static_cast<CInputGuard*>(p->interrupt_callback.opaque)->BeginClosing();
    avformat_close_input(&p);
}

bool openMedia::IsTransport() const {
    return pFormat->iformat->name == std::string_view("mpegts");
}

bool openMedia::HasChanged() const {
    const std::span vStreams(pFormat->streams, pFormat->nb_streams);
    const bool bOther = std::any_of(vStreams.begin(), vStreams.end(), [&](const AVStream* p) {
        return IsVideo(*p) && p->discard != AVDISCARD_ALL && p != pStream;
    });
    return bOther || CodecOf(*pStream) != eCodec;
}

openMedia OpenMedia(const std::string& strAddress, const std::atomic<bool>* pStop,
                    const mediaOptions& stOptions, std::unique_ptr<CRecordingFile> pFile) {
    openMedia stMedia;
    stMedia.strName = WithoutPassword(strAddress);
    stMedia.pFile = std::move(pFile);
    stMedia.pGuard = std::make_unique<CInputGuard>(pStop, stOptions);
    OpenContainer(stMedia.pFile ? strAddress : OpenPipe(strAddress, stMedia), stOptions, stMedia);
    // What came before a stop or a silence is kept, and read before they are noticed.
    const int nResult = avformat_find_stream_info(stMedia.pFormat.get(), nullptr);
    if (nResult < 0) {
        throw CFailure("cannot read " + stMedia.strName + ": " +
                       ReasonOf(nResult, *stMedia.pGuard));
    }
    stMedia.eSource =
        stMedia.pFile ? ESource::File : SourceOf(*stMedia.pFormat, SourceOf(strAddress));
    stMedia.nDelay = DelayOf(stMedia);
    FindTracks(stMedia, stOptions.eAudio);
    return stMedia;
}

void FailToRead(const openMedia& stMedia, int nError) {
    const std::string strText =
        "reading " + stMedia.strName + " broke off: " + ReasonOf(nError, *stMedia.pGuard);
    if (stMedia.pGuard->IsSilent()) throw CSilence(strText);
    throw CFailure(strText);
}
