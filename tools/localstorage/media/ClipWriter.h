// Writes a clip: one video track in an MP4 file, frames copied as they are.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H
#define LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H

#include <string>

#include "media/ClipSource.h"

/// The file grows under another name and gets its own when it is finished; an unfinished one is
/// removed. Times of frames only ever grow.
class CClipWriter {
public:
    explicit CClipWriter(std::string strPath);
    ~CClipWriter();
    CClipWriter(const CClipWriter&) = delete;
    CClipWriter& operator=(const CClipWriter&) = delete;

    /// Appends frames of a recording, `fStep` seconds each. Frames that are shown before the first
    /// one are left out unless `bContinues` (then the clip holds what they need). Throws CFailure.
    void Append(const std::string& strPath, const clipFrames& stFrames, const frameRange& stRange,
                double fStep, bool bContinues, const BytesFunction& fnBytes,
                const std::atomic<bool>& bStop);

    /// Completes the file and gives it its name. Throws CFailure.
    void Finish();

    double Length() const { return static_cast<double>(m_nEnd) / TICKS; }
    std::uint64_t Frames() const { return m_nFrames; }

private:
    static constexpr int TICKS = 90000;  ///< per second

    void Begin(const AVCodecParameters& stParameters);
    void Write(AVPacket& stPacket, std::int64_t nDecode, std::int64_t nShow, std::int64_t nLength);

    std::string m_strPath, m_strPart;
    avPointer<AVFormatContext> m_pFormat;
    std::int64_t m_nEnd = 0;         ///< where the next recording goes
    std::int64_t m_nLastDecode = 0;  ///< of the frame written last
    std::uint64_t m_nFrames = 0;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H
