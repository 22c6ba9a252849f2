// Cameras' time stamps made to run forward. They jump when a camera restarts or corrects its clock,
// wrap where their counters end, run backwards, or are missing. What is stored has one time line,
// on which all tracks of a stream are moved alike, so that picture and sound keep together. Pure.

#ifndef LOCALSTORAGE_TOOL_MEDIA_TIMEMENDER_H
#define LOCALSTORAGE_TOOL_MEDIA_TIMEMENDER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

/// The unit of all times of packets: so many per second, as transport streams count.
constexpr std::int64_t TICKS = 90000;

/// A packet's stamps as they come.
struct rawTimes {
    std::optional<std::int64_t> optShow, optDecode;
    std::int64_t nLength = 0;  ///< how long it lasts; 0: unknown
};

/// Its times on the time line: never shown before it is decoded.
struct packetTimes {
    std::int64_t nShow = 0, nDecode = 0;

    bool operator==(const packetTimes&) const = default;
};

class CTimeMender {
public:
    static constexpr std::size_t TRACKS = 2;
    /// Where the time line begins at the earliest: what is moved a little still has no negative
    /// time.
    static constexpr std::int64_t BEGIN = TICKS;

    /// Times of the next packet of a track, later than those of the one before. `nArrived`: when it
    /// came, by a clock that never jumps. Where the stamps jump, the time line goes on as that
    /// clock did.
    packetTimes Mend(std::size_t nTrack, const rawTimes& stRaw, std::int64_t nArrived);

private:
    struct track {
        bool bStarted = false;
        std::int64_t nLast = 0;  ///< decoding time of the packet before
        std::int64_t nStep = 0;  ///< how far it lay behind the one before it
    };

    bool GoesOn(const track& stTrack, std::int64_t nTime) const;
    std::int64_t ExpectedOf(const track& stTrack) const;
    std::int64_t OffsetFor(const track& stTrack, std::int64_t nRaw, std::int64_t nArrived);
    void Take(std::int64_t nOffset);

    std::array<track, TRACKS> m_aTracks{};
    bool m_bStarted = false;
    std::int64_t m_nOffset = 0;    ///< from stamps to the time line
    std::int64_t m_nPrevious = 0;  ///< before the last jump: other tracks jump a little later
    std::int64_t m_nHead = 0;      ///< the latest decoding time of all tracks
    std::int64_t m_nHeadArrived = 0;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_TIMEMENDER_H
