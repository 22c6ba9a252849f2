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
    /// Before anything is opened for this muxer.
    virtual void Prepare(AVFormatContext&) {}
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
    /// No fragment is longer than half a second, or what is live would be late. A list of all of
    /// them at the end would grow for as long as a viewer stays.
    const char* Layout() const override {
        return "movflags=frag_keyframe+delay_moov+default_base_moof+skip_trailer:"
               "frag_duration=500000:"
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

/// An open file, which need not have a name.
class CClipDownload : public CClipTarget {
public:
    /// `objFile` has to outlive it.
    explicit CClipDownload(COpenFile& objFile) : m_stOut(objFile), m_stAgain(objFile) {}
    CClipDownload(const CClipDownload&) = delete;
    CClipDownload& operator=(const CClipDownload&) = delete;

    const std::string& Name() const override { return m_strName; }
    const char* Layout() const override { return "movflags=faststart"; }
    /// To move the beginning to the front the muxer reads what it has written.
    void Prepare(AVFormatContext& st) override;
    AVIOContext* Open(int& nError) override;
    void Finish() override;
    /// Why the file took no more; empty: it did.
    const std::string& Fault() const { return m_stOut.strFault; }

private:
    struct place {
        explicit place(COpenFile& st) : objFile(st) {}
        COpenFile& objFile;
        std::uint64_t nAt = 0;
        std::string strFault = {};
        avIo pIo = {};
    };
    static int Read(void* pPlace, std::uint8_t* pData, int nSize) noexcept;
    static int Write(void* pPlace, std::uint8_t* pData, int nSize) noexcept;
    static std::int64_t Seek(void* pPlace, std::int64_t nTo, int nWhence) noexcept;
    static int OpenAgain(AVFormatContext* pFormat, AVIOContext** ppIo, const char*, int,
                         AVDictionary**) noexcept;
    static int CloseAgain(AVFormatContext* pFormat, AVIOContext*) noexcept;

    const std::string m_strName = "the clip";
    place m_stOut, m_stAgain;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPTARGET_H
