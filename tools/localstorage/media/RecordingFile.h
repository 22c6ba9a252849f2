// A recording as FFmpeg reads it, also while it is being written.

#ifndef LOCALSTORAGE_TOOL_MEDIA_RECORDINGFILE_H
#define LOCALSTORAGE_TOOL_MEDIA_RECORDINGFILE_H

#include <atomic>
#include <functional>
#include <string>

#include "base/OpenFile.h"
#include "media/Ffmpeg.h"

/// Asked at the end of a recording that was changed last then: whether to wait for more.
using GrowsFunction = std::function<bool(UtcTime tChange)>;

class CRecordingFile {
public:
    /// `bStop` has to outlive it. Throws CFailure when the file cannot be opened.
    CRecordingFile(const std::string& strPath, GrowsFunction fnGrows,
                   const std::atomic<bool>& bStop);

    /// What FFmpeg reads. It cannot be sought in while the recording grows, or the search for its
    /// length would wait for its end.
    AVIOContext* Context() const { return m_pInput.get(); }
    /// From now on the end is where it is when it is reached.
    void EndWhereItEnds() { m_fnGrows = nullptr; }
    /// When it was written to last.
    UtcTime LastChange() const { return m_objFile.LastChange(); }

private:
    static int Read(void* pFile, std::uint8_t* pData, int nSize) noexcept;
    static std::int64_t Seek(void* pFile, std::int64_t nTo, int nWhence) noexcept;
    int ReadNext(std::span<char> stBuffer);
    bool Grows() const { return m_fnGrows && m_fnGrows(LastChange()); }

    const COpenFile m_objFile;
    GrowsFunction m_fnGrows;
    const std::atomic<bool>& m_bStop;
    std::uint64_t m_nAt = 0;
    avIo m_pInput;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_RECORDINGFILE_H
