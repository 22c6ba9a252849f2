// Opening what FFmpeg can open: files, RTSP and the like. Whatever waits for an input is given up
// when nothing comes for too long, or when it is stopped.

#ifndef LOCALSTORAGE_TOOL_MEDIA_MEDIAOPENING_H
#define LOCALSTORAGE_TOOL_MEDIA_MEDIAOPENING_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "StreamProbe/Nal.h"
#include "base/Address.h"
#include "base/Failure.h"
#include "base/Fifo.h"
#include "base/Heartbeat.h"
#include "media/Ffmpeg.h"
#include "media/RecordingFile.h"

/// How a stream comes.
enum class ESource {
    File,  ///< as fast as one reads; it has an end
    Pipe,  ///< as it is made; when its writer has ended, nothing comes any more
    Live,  ///< as it is made; after its end it may come back
    Web    ///< a file or live: the opened input tells
};
ESource SourceOf(const std::string& strAddress);

/// The address that an input stands for: the value of a variable (`env:NAME`), the first line of a
/// file (`address-file:PATH`), else the input itself. Throws CFailure.
std::string AddressOf(const std::string& strInput);

/// Whether FFmpeg has an option of this name for any kind of input.
bool IsInputOption(const std::string& strName);

/// Whether an input's sound is wanted.
enum class EAudio { No, Yes };

/// How an input is opened and how long one waits for it.
struct mediaOptions {
    std::chrono::seconds nOpening{30};  ///< until its streams are known
    std::chrono::seconds nStall{30};    ///< from one packet to the next
    /// Handed to FFmpeg, the later of a name counts; what the input does not know is ignored.
    std::vector<std::pair<std::string, std::string>> vForInput = {{"rtsp_transport", "tcp"}};
    EAudio eAudio = EAudio::No;
    CHeartbeat* pHeartbeat = nullptr;  ///< unless null: beats while an input is waited for

    bool operator==(const mediaOptions&) const = default;
};

/// Nothing came for too long.
class CSilence : public CFailure {
public:
    using CFailure::CFailure;
};

/// What ends FFmpeg's waiting for a source: a stop, or too long without a sign of life. Used by the
/// thread that reads.
class CInputGuard {
public:
    /// `pStop` may be null.
    CInputGuard(const std::atomic<bool>* pStop, const mediaOptions& stOptions);

    /// A packet is waited for from now on: for as long as is left of the wait for a picture.
    void Rearm();
    /// It has come. Sound alone is no sign that pictures will.
    void Note(bool bPicture);
    /// The input is being closed: a last word to the other side is let through in spite of all.
    void BeginClosing();

    bool IsStopped() const { return m_pStop && *m_pStop; }
    /// Once silent it stays so, so that what was read is handed out without waiting for more.
    bool IsSilent();
    /// Asked again and again by whatever waits.
    bool EndsWaiting();
    std::chrono::seconds Patience() const { return m_nPatience; }
    /// Something came since the last picture.
    bool HaveOthersCome() const { return m_bOthersCame; }

private:
    using Clock = std::chrono::steady_clock;

    void Expect(std::chrono::seconds nPatience, Clock::duration nLeft);

    const std::atomic<bool>* m_pStop;
    const std::chrono::seconds m_nStall;
    CHeartbeat* const m_pHeartbeat;
    std::chrono::seconds m_nPatience{0};
    Clock::duration m_nLeft;  ///< of m_nStall, when a packet is waited for next
    Clock::time_point m_tDeadline;
    bool m_bSilent = false, m_bOthersCame = false;
};

struct closeGuarded {
    void operator()(AVFormatContext* p) const;
};

/// An open container, its first video stream and, where it is wanted, its first audio stream.
struct openMedia {
    std::string strName;                    ///< of the input, for messages: without a password
    std::unique_ptr<CFifo> pFifo;           ///< that is read, or null
    std::unique_ptr<CRecordingFile> pFile;  ///< that is read, or null
    std::unique_ptr<CInputGuard> pGuard;    ///< of pFormat
    std::unique_ptr<AVFormatContext, closeGuarded> pFormat;
    AVStream* pStream = nullptr;
    AVStream* pAudio = nullptr;  ///< null: none
    ECodec eCodec = ECodec::H264;
    ESource eSource = ESource::File;  ///< never Web
    /// For so long whatever comes is kept back, so that it comes evenly.
    std::chrono::microseconds nDelay{0};

    bool Has(const AVStream& st) const { return &st == pStream || &st == pAudio; }
    /// An MPEG transport stream, which holds times.
    bool IsTransport() const;
    /// The video goes on in another codec, or in a stream that was not there at first.
    bool HasChanged() const;
};

/// Opens an input and finds its first H.264 or H.265 stream. `pStop` (may be null) must outlive it.
/// Throws CFailure. What is read by way of `pFile` is not opened once more.
openMedia OpenMedia(const std::string& strAddress, const std::atomic<bool>* pStop,
                    const mediaOptions& stOptions = {},
                    std::unique_ptr<CRecordingFile> pFile = nullptr);

/// Tells that reading failed with this error number: throws CSilence, else CFailure.
[[noreturn]] void FailToRead(const openMedia& stMedia, int nError);

#endif  // LOCALSTORAGE_TOOL_MEDIA_MEDIAOPENING_H
