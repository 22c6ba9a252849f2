// Streams made by hand, and how they must be divided: what real ones hold seldom, and broken ones.

#include "StreamProbe/Streams.h"
#include "Support/Test.h"

namespace {

const auto Key = [](const std::string& strBytes) { return Part{KEY, strBytes}; };
const auto Other = [](const std::string& strBytes) { return Part{OTHER, strBytes}; };
const auto More = [](const std::string& strBytes) { return Part{MORE, strBytes}; };

/// The parts, strung together, are divided so however the stream is cut.
void ExpectFrames(const std::string& strName, const std::vector<Part>& vPart) {
    SCOPED_TRACE(strName);
    std::string strStream;
    StreamMarks vMark;
    for (const Part& stPart : vPart) {
        if (stPart.nType != MORE) vMark.emplace_back(strStream.size(), stPart.nType);
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(Analyse(strStream).vMark, vMark);
    EXPECT_EQ(DifferenceWhenCut(strStream), "");
}

TEST(Frames, BeginWhereTheyDoHoweverTheStreamIsCut) {
    const std::string strHead = PACK + Map(0x1B), strTail = "the end of a frame";
    const std::pair<const char*, std::vector<Part>> ROWS[] = {
        {"in the middle of H.264", {Other(P + P), Key(IDR), Other(P)}},
        {"H.264, H.265, H.264",
         {Key(SPS + IDR + Bytes({0, 0, 0})), Other(P), Key(WHOLE_IDR5), Other(P5), Key(SPS + IDR)}},
        {"garbage in front",
         {Other(Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})), Key(SPS + PPS + IDR)}},
        {"joined in the middle: only the map tells",
         {Other(PACK + Map(0x24) + Video(P5)), Other(PACK + Video(P5))}},
        {"parts in PES packets of their own",
         {Key(strHead + Video(SPS) + Video(PPS) + AUDIO + Video(IDR)),
          Other(PACK + Video(P) + Video(P_MORE)), Key(strHead + Video(SPS) + Video(PPS + IDR))}},
        {"packed, they begin with the pack around them",
         {Key(PACK + Video(WHOLE_IDR + P)), Other(PACK + Video(strTail + P + P.substr(0, 6))),
          Key(PACK + Video(P.substr(6) + P + WHOLE_IDR + P)),
          More(PACK + Video(strTail) + PACK + Video(strTail)), Key(PACK + Video(strTail + SPS)),
          More(PACK + Video(PPS + IDR)), Other(PACK + Video(P))}}};
    for (const auto& [pName, vPart] : ROWS) ExpectFrames(pName, vPart);
}

// Every place at which a PES packet can end, with and without a pack in front of the next one.
TEST(Frames, KeyFrameIsOneWhereverItsPacketsEnd) {
    for (std::size_t n = 5; n < WHOLE_IDR.size(); ++n) {
        for (const std::string& strBetween : {std::string(), PACK, AUDIO + PACK}) {
            const std::string strSplit =
                Video(WHOLE_IDR.substr(0, n)) + strBetween + Video(WHOLE_IDR.substr(n));
            ExpectFrames(std::to_string(n), {Key(PACK + Video(WHOLE_IDR)), Other(PACK + Video(P)),
                                             Key(PACK + strSplit), Other(PACK + Video(P))});
        }
    }
}

TEST(Frames, ShortFrameAtTheEndOfAPacketHidesNoKeyFrame) {
    for (const char* pSlice : {"\x9A\x80", "\x9A\x21\x80", "\x9A\x21\x42\x80"}) {
        for (std::size_t n = 0; n < 8; ++n) {  // start codes of 3 and 4 bytes, zeros behind
            const std::string strP =
                (Nal({0x61}) + pSlice).substr(n % 2) + std::string(n / 2, '\0');
            const Part stKey = Key(PACK + Video(WHOLE_IDR.substr(n % 2)));
            const Part stOther = Other(PACK + Video(strP));
            ExpectFrames(strP, {stKey, stOther, stOther, stKey, stOther, stOther});
        }
    }
}

/// How many bytes may stand in front of each packet of a transport stream, and behind it.
constexpr std::pair<std::size_t, std::size_t> TS_LAYOUTS[] = {{0, 0}, {4, 0}, {0, 16}};

/// Packets are found in the first five, which are of no use, so that the others can be cut.
void ExpectTsFrames(const std::string& strName, const std::vector<Part>& vPart) {
    for (const auto& [nFront, nBehind] : TS_LAYOUTS) {
        CTsWire wire(nFront, nBehind);
        std::vector<Part> vWire = {Other(wire(TsPackets(0x1FFF, std::string(5 * 184, 'x'))))};
        for (const auto& [nType, strBytes] : vPart) vWire.push_back({nType, wire(strBytes)});
        ExpectFrames(strName + ", " + std::to_string(188 + nFront + nBehind), vWire);
    }
}

TEST(Frames, OfATransportStreamBeginAtTheTablesInFront) {
    const std::string strTables = Pat() + Pmt(),
                      strEmpty = TsPackets(0x1FFF, "x", false) + TsPackets(0x302, ""),
                      strSlice(400, '\x37'), strLong = PmtTable(0x1B, 0x201, 1, 200),
                      strTwo = Pat({0x100, 0x110, 0x120}) + Pmt(0x0F) +
                               TsPackets(0x120, PmtTable(0x1B, 0x220, 3)) +
                               TsPackets(0x110, PmtTable(0x24, 0x210, 2)),
                      strH265 = Pat({0x110}) + TsPackets(0x110, PmtTable(0x24, 0x201)),
                      strNoVideo = TsPackets(0x110, PmtTable(0x0F, 0x201)),
                      strNoPes = TsPackets(0x201, "no PES" + WHOLE_IDR);
    std::string strWrong = Pmt(0x1B, 0x202), strDamaged = TsVideo(WHOLE_IDR),
                strScrambled = TsVideo(WHOLE_IDR);
    ++strWrong.back();
    strDamaged[1] = '\xC2';
    strScrambled[3] = '\xB0';
    const Part stKey = Key(strTables + TsVideo(WHOLE_IDR + strSlice)), stSound = More(TsSound()),
               stOther = Other(TsVideo(P + strSlice));
    const std::pair<const char*, std::vector<Part>> ROWS[] = {
        {"a camera's", {stKey, stSound, stOther, stSound, stOther, stKey, stOther}},
        {"other things in front of the tables, and between them and the frame",
         {More(strEmpty + strTables + TsSound()), Key(TsVideo(WHOLE_IDR)),
          More(strTables + TsSound() + Pat()),
          Key(Pat() + strEmpty + TsPackets(0x11, "\x01\xFF") + Pmt() + TsVideo(WHOLE_IDR)),
          stOther}},
        {"parts in PES packets of their own",
         {Key(strTables + TsVideo(SPS) + TsSound() + TsVideo(PPS + IDR)), stOther, stSound,
          Key(TsVideo(SPS) + strTables + TsVideo(PPS) + TsVideo(IDR)), stOther}},
        {"packed",
         {Other(strTables + TsVideo(P + strSlice + P)), Key(TsVideo(P + strSlice + WHOLE_IDR)),
          Other(strTables + TsVideo(P + strSlice)), stKey}},
        {"sound, video, video: the second program's",
         {Key(strTwo + TsVideo(WHOLE_IDR5, 0x210)),
          More(TsVideo(WHOLE_IDR, 0x220) + TsVideo(WHOLE_IDR)), Other(TsVideo(P5, 0x210))}},
        {"other tables",
         {stKey, stOther, Key(strH265 + TsVideo(WHOLE_IDR5)), Other(TsVideo(P5)),
          More(Pmt() + strNoVideo + TsVideo(WHOLE_IDR5))}},
        {"tables in several packets, and several in one",
         {Key(Pat() + TsPackets(0x100, PmtTable(0x1B, 0x20F, 2) + strLong.substr(1)) +
              TsVideo(WHOLE_IDR)),
          stOther, stOther}},
        {"tables, packets and a PES packet that cannot be read",
         {stKey, stOther, More(strWrong + strDamaged + strScrambled + strNoPes), stOther, stKey}}};
    for (const auto& [pName, vPart] : ROWS) ExpectTsFrames(pName, vPart);
}

// The rest of the frame in which bytes are missing does not count, the next one does.
TEST(Frames, OfATransportStreamAreFoundAgainBehindAGap) {
    for (const auto& [nFront, nBehind] : TS_LAYOUTS) {
        CTsWire wire(nFront, nBehind);
        const std::string strFrames = Pat() + Pmt() + TsVideo(WHOLE_IDR) + TsVideo(P) + TsVideo(P),
                          strBroken = TsVideo(SPS + std::string(400, '\x11') + IDR) + TsSound();
        const std::string strBefore = wire(strFrames), strGap = wire(strBroken),
                          strBehind = wire(strFrames);
        for (const std::size_t nGone : {1u, 100u, 188u, 250u}) {
            const std::string strFront = strBefore + std::string(strGap).erase(170, nGone),
                              strJoined = strBefore.substr(nGone);
            EXPECT_EQ(KeyFrames(Analyse(strFront + strBehind).vMark),
                      (std::vector<std::size_t>{0, strFront.size()}));
            EXPECT_EQ(DifferenceWhenCut(strFront + strBehind), "");
            EXPECT_EQ(KeyFrames(Analyse(strJoined + strBehind).vMark).back(), strJoined.size());
        }
    }
}

TEST(Frames, PayloadOfACameraIsNotCopied) {
    const std::string strSlice(150000, '\x37');
    const std::vector<Part> vFrame = {Key(WHOLE_IDR + strSlice), Other(P + strSlice),
                                      Key(WHOLE_IDR + strSlice)};
    const std::string strStream = Camera(vFrame, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, 4096, 4096);
    EXPECT_EQ(stResult.vMark.size(), vFrame.size());
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

TEST(Frames, WhatIsUndecidedIsPassedOnAt4MiB) {
    // Units in front of a frame; the six bytes that tell the slice's kind come on top.
    const std::string strSei = Nal({0x06}) + std::string(MOST_HELD - SPS.size() - 15, '\x11');
    const std::string strFits = SPS + strSei + IDR + P, strTooLong = SPS + strSei + 'x' + IDR + P;
    EXPECT_EQ(KeyFrames(Analyse(strFits + WHOLE_IDR).vMark),
              (std::vector<std::size_t>{0, strFits.size()}));
    EXPECT_EQ(KeyFrames(Analyse(strTooLong + WHOLE_IDR).vMark),
              std::vector<std::size_t>{strTooLong.size()});
    EXPECT_EQ(DifferenceWhenCut(strTooLong + WHOLE_IDR, {4096, 700001}, 5), "");
}

TEST(Frames, StreamIsFoundAgainBehindGarbage) {
    std::mt19937 random(3);
    std::string strGarbage(100000, '\x09');
    for (char& ch : strGarbage) ch = static_cast<char>(random() % 5);
    for (const std::string& strStream :
         {WHOLE_IDR + P, PACK + Video(WHOLE_IDR) + PACK + Video(P)}) {
        const std::string strFront = strStream + strGarbage + '\x09';
        EXPECT_EQ(KeyFrames(Analyse(strFront + strStream).vMark).back(), strFront.size());
    }
}

}  // namespace
