#include "Catalogue/StreamTimes.h"

#include <algorithm>
#include <new>
#include <numeric>

#include "Catalogue/FrameRate.h"
#include "Osl/Osl.h"
#include "StreamProbe/StreamProbe.h"

namespace chrono = std::chrono;

namespace {

constexpr std::uint64_t HEAD = 16 << 10, SHORT_TAIL = 64 << 10, LONGEST_TAIL = 16 << 20;
constexpr std::uint64_t PIECE = 1 << 20;
constexpr UtcTime::duration STEP = chrono::milliseconds(40);  // between frames, unless known

using Frames = std::vector<frameSign>;
using FrameIterator = Frames::const_iterator;

class CBytes {
public:
    CBytes(const std::string& strPath, std::uint64_t nBytes)
        : m_nBytes(nBytes), m_file(OSL_OpenFile(strPath.c_str(), OSL_OPEN_READ, 0)) {}

    /// The bytes from one position up to another; fewer at the end, or where they cannot be read.
    std::span<const std::uint8_t> Read(std::uint64_t nFrom, std::uint64_t nTo) {
        m_vBytes.resize(std::min(nTo, m_nBytes) - std::min(nFrom, m_nBytes));
        std::size_t nRead = 0;
        if (OSL_FileSeek(m_file.Get(), static_cast<std::int64_t>(nFrom), 0, nullptr) == 0) {
            OSL_ReadFile(m_file.Get(), m_vBytes.data(), m_vBytes.size(), &nRead);
        }
        m_vBytes.resize(nRead);
        return m_vBytes;
    }
    std::span<const std::uint8_t> ReadTail(std::uint64_t nSize) {
        return Read(m_nBytes - std::min(m_nBytes, nSize), m_nBytes);
    }
    std::uint64_t Size() const { return m_nBytes; }

private:
    const std::uint64_t m_nBytes;
    const OSL_OwnFile m_file;  ///< may be none
    std::vector<std::uint8_t> m_vBytes;
};

UtcTime::duration FromTicks(std::int64_t nTicks) {
    return chrono::microseconds(nTicks * 1000000 / TICKS_PER_SECOND);
}

/// From one presentation time to another that lies near, before or behind it.
std::int64_t TicksBetween(std::int64_t nFrom, std::int64_t nTo) {
    const std::int64_t nAhead = (nTo - nFrom) & (PTS_WRAP - 1);
    return nAhead < PTS_WRAP / 2 ? nAhead : nAhead - PTS_WRAP;
}

bool HasPts(const frameSign& st) {
    return st.nPts.has_value();
}

/// Bytes that only look like a stamp name a time that cannot be.
bool HasStamp(const frameSign& st) {
    constexpr UtcTime NEVER = chrono::sys_days(chrono::year(2200) / 1 / 1);
    return st.tStamp && *st.tStamp >= UtcTime() && *st.tStamp < NEVER;
}

/// The last one with a stamp; the end when there is none.
FrameIterator FindLastStamp(FrameIterator itFirst, FrameIterator itEnd) {
    const auto itBehind =
        std::find_if(std::reverse_iterator(itEnd), std::reverse_iterator(itFirst), HasStamp).base();
    return itBehind == itFirst ? itEnd : std::prev(itBehind);
}

/// Whether the end of the recording is shown before its beginning: its clock was put back, and
/// tells no length.
bool IsPutBack(std::int64_t nBegin, const Frames& vTail) {
    const auto itLast = std::find_if(vTail.rbegin(), vTail.rend(), HasPts);
    return itLast != vTail.rend() && TicksBetween(nBegin, *itLast->nPts) < 0;
}

/// From a presentation time to the end of what is shown last in the tail of the recording.
std::optional<UtcTime::duration> LengthFrom(std::int64_t nPts, const Frames& vTail) {
    const auto itFirst = std::find_if(vTail.begin(), vTail.end(), HasPts);
    if (itFirst == vTail.end()) return std::nullopt;
    std::vector<std::int64_t> vTicks;  // relative to the first of the tail, in the order of display
    for (const frameSign& st : vTail) {
        if (HasPts(st)) vTicks.push_back(TicksBetween(*itFirst->nPts, *st.nPts));
    }
    std::sort(vTicks.begin(), vTicks.end());
    const std::int64_t nBefore = (*itFirst->nPts + vTicks.back() - nPts) & (PTS_WRAP - 1);
    std::adjacent_difference(vTicks.begin(), vTicks.end(), vTicks.begin());
    vTicks.erase(vTicks.begin());
    if (vTicks.empty()) return FromTicks(nBefore) + STEP;
    const auto itMiddle = vTicks.begin() + static_cast<std::ptrdiff_t>(vTicks.size() / 2);
    std::nth_element(vTicks.begin(), itMiddle, vTicks.end());
    return FromTicks(nBefore + *itMiddle);
}

/// The end of a raw stream, whose frames are as far apart as between its last two stamps, or as
/// `nStep` says when it has only one.
std::optional<UtcTime> RawEnd(const Frames& vTail, std::optional<UtcTime::duration> nStep) {
    const auto itLast = FindLastStamp(vTail.begin(), vTail.end());
    if (itLast == vTail.end()) return std::nullopt;
    const auto itBefore = FindLastStamp(vTail.begin(), itLast);
    if (itBefore != itLast) nStep = (*itLast->tStamp - *itBefore->tStamp) / (itLast - itBefore);
    if (!nStep) return std::nullopt;
    return *itLast->tStamp + (vTail.end() - itLast) * *nStep;
}

std::optional<UtcTime> ContainerEnd(const Frames& vTail) {
    const auto itLast = FindLastStamp(vTail.begin(), vTail.end());
    if (itLast == vTail.end() || !itLast->nPts) return std::nullopt;
    return *itLast->tStamp + *LengthFrom(*itLast->nPts, vTail);
}

/// Of a recording whose head holds these frames.
class CTail {
public:
    CTail(CBytes& objBytes, const recordedForm& stForm, const Frames& vHead)
        : m_objBytes(objBytes),
          m_stForm(stForm),
          m_bStamps(std::any_of(vHead.begin(), vHead.end(), HasStamp)),
          m_itHead(std::find_if(vHead.begin(), vHead.end(), HasPts)),
          m_bPts(m_itHead != vHead.end()) {}

    /// Reads as much of it as it takes.
    void Read(streamTimes& st) {
        for (std::uint64_t nSize = SHORT_TAIL;; nSize *= 4) {
            const bool bLast = nSize >= std::min(LONGEST_TAIL, m_objBytes.Size());
            const Frames vTail = FindFrames(m_stForm, m_objBytes.ReadTail(nSize));
            const bool bLength = m_bPts && !IsPutBack(*m_itHead->nPts, vTail);
            if (bLength) st.nLength = LengthFrom(*m_itHead->nPts, vTail);
            if (m_bStamps) st.tEnd = EndOf(vTail, bLast);
            if (bLast || (m_bStamps ? st.tEnd.has_value() : !bLength || st.nLength)) return;
        }
    }

private:
    std::optional<UtcTime> EndOf(const Frames& vTail, bool bLast) const {
        if (m_bPts) return ContainerEnd(vTail);
        return RawEnd(vTail, bLast ? std::optional(STEP) : std::nullopt);
    }

    CBytes& m_objBytes;
    const recordedForm m_stForm;
    const bool m_bStamps;
    const FrameIterator m_itHead;
    const bool m_bPts;
};

/// When the first frame was taken, by the first stamp of the head.
std::optional<UtcTime> StartOf(const Frames& vHead) {
    const auto it = std::find_if(vHead.begin(), vHead.end(), HasStamp);
    if (it == vHead.end()) return std::nullopt;
    const bool bPts = it->nPts && vHead.front().nPts;
    return *it->tStamp -
           (bPts ? FromTicks(TicksBetween(*vHead.front().nPts, *it->nPts)) : UtcTime::duration(0));
}

/// From one frame of a raw stream to the next, by its head.
UtcTime::duration StepOf(std::span<const std::uint8_t> stHead) {
    const auto dRate = FrameRateOf(RecogniseForm(stHead).eCodec, stHead);
    if (!dRate) return STEP;
    return chrono::duration_cast<UtcTime::duration>(chrono::duration<double>(1 / *dRate));
}

/// Counts the frames of what is given to it.
class CFrameCount {
public:
    CFrameCount() {
        if (VEXANA_CreateStreamEx(nullptr, 0, &m_hStream) != VEXANA_OK) throw std::bad_alloc();
    }
    ~CFrameCount() { VEXANA_Destroy(m_hStream); }
    CFrameCount(const CFrameCount&) = delete;
    CFrameCount& operator=(const CFrameCount&) = delete;

    void Add(std::span<const std::uint8_t> stBytes) {
        VEXANA_InputData(m_hStream, reinterpret_cast<const char*>(stBytes.data()), stBytes.size());
        Take();
    }
    std::int64_t Finish() {
        VEXANA_Flush(m_hStream);
        Take();
        return m_nFrames;
    }

private:
    void Take() {
        VEXANA_PACKET stPacket;
        while (VEXANA_GetOnePacketEx(m_hStream, stPacket) == VEXANA_OK) {
            m_nFrames += stPacket.nFrameType != VEXANA_FRAME_CONTINUE;
        }
    }

    VEXANA_Handle m_hStream = nullptr;
    std::int64_t m_nFrames = 0;
};

}  // namespace

streamTimes ReadStreamTimes(const std::string& strPath, std::uint64_t nBytes) {
    CBytes objBytes(strPath, nBytes);
    const auto stHead = objBytes.Read(0, HEAD);
    const recordedForm stForm = RecogniseForm(stHead);
    const Frames vHead = FindFrames(stForm, stHead);
    streamTimes st;
    if (vHead.empty()) return st;
    st.eKind = stForm.eKind;
    st.tStart = StartOf(vHead);
    CTail(objBytes, stForm, vHead).Read(st);
    if (st.tStart && st.nLength && !st.tEnd) st.tEnd = *st.tStart + *st.nLength;
    // The clock was put back meanwhile: it tells the beginning and no more.
    if (st.tStart && st.tEnd && *st.tEnd < *st.tStart) st.tEnd.reset();
    return st;
}

UtcTime::duration CountFrames(const std::string& strPath, std::uint64_t nBytes) {
    CBytes objBytes(strPath, nBytes);
    const UtcTime::duration nStep = StepOf(objBytes.Read(0, HEAD));
    CFrameCount objCount;
    for (std::uint64_t nFrom = 0; nFrom < nBytes; nFrom += PIECE) {
        objCount.Add(objBytes.Read(nFrom, nFrom + PIECE));
    }
    return objCount.Finish() * nStep;
}
