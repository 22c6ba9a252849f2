// Where a clip goes: into a file, or to whoever takes its bytes while it is made.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CLIPTARGET_H
#define LOCALSTORAGE_TOOL_MEDIA_CLIPTARGET_H

#include <functional>
#include <string>
#include <string_view>

#include "media/Ffmpeg.h"

class CClipTarget {
public:
    virtual ~CClipTarget() = default;

    /// What messages call it.
    virtual const std::string& Name() const = 0;
    /// How the muxer lays out the clip: its options, as `name=value:name=value`.
    virtual const char* Layout() const = 0;
    /// Opens it to be written; null: see `nError`, one of FFmpeg's. It stays the target's.
    virtual AVIOContext* Open(int& nError) = 0;
    /// All was written. Throws CFailure.
    virtual void Finish() = 0;
};

/// A file that grows under another name and gets its own when it is finished; an unfinished one is
/// removed.
class CClipFile : public CClipTarget {
public:
    explicit CClipFile(std::string strPath)
        : m_strPath(std::move(strPath)), m_strPart(m_strPath + ".part") {}
    ~CClipFile() override;
    CClipFile(const CClipFile&) = delete;
    CClipFile& operator=(const CClipFile&) = delete;

    const std::string& Name() const override { return m_strPart; }
    const char* Layout() const override { return "movflags=faststart"; }
    AVIOContext* Open(int& nError) override;
    void Finish() override;

private:
    std::string m_strPath, m_strPart;
    AVIOContext* m_pFile = nullptr;
};

/// Takes a clip in fragments that can be played as they come; of a clip of any length no more than
/// the latest fragment is kept.
class CClipStream : public CClipTarget {
public:
    /// `fnTake` is given all bytes in order; what it throws ends the clip.
    explicit CClipStream(std::function<void(std::string_view)> fnTake)
        : m_fnTake(std::move(fnTake)) {}
    CClipStream(const CClipStream&) = delete;
    CClipStream& operator=(const CClipStream&) = delete;

    const std::string& Name() const override { return m_strName; }
    /// No fragment is longer than half a second, or what is live would be late.
    const char* Layout() const override {
        return "movflags=frag_keyframe+delay_moov+default_base_moof:frag_duration=500000:"
               "write_prft=wallclock";  // of capture, as packets tell it
    }
    AVIOContext* Open(int& nError) override;
    void Finish() override;

private:
    static int Take(void* pStream, std::uint8_t* pData, int nSize) noexcept;

    const std::string m_strName = "the stream";
    const std::function<void(std::string_view)> m_fnTake;
    avIo m_pOut;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPTARGET_H
