// The HTTP server with many requests at once, and with viewers that it follows a camera for: what
// its threads share.

#include <random>

#include "Catalogue/Status.h"
#include "CountPackets.h"
#include "ServeUse.h"
#include "media/RecordingFile.h"
#include "serve/Parameters.h"

namespace {

using testing::HasSubstr;

TEST(RecordingFile, AnEndThatWasReachedIsNotAskedForAgain) {
    const CTempDir tmp;
    PutFile(tmp / "file", "x");
    unsigned nAsked = 0;
    const std::atomic<bool> bStop = false;
    const CRecordingFile objFile(
        tmp / "file", [&](UtcTime) { return ++nAsked < 3; }, bStop);
    EXPECT_EQ(avio_r8(objFile.Context()), 'x');
    for (int n = 0; n < 3; ++n) {
        avio_r8(objFile.Context());
        EXPECT_TRUE(avio_feof(objFile.Context()));
    }
    EXPECT_EQ(nAsked, 3u);
}

/// Writes a file as a host does that records: a little now, a little later.
void Grow(const std::string& strPath, const std::string& strBytes) {
    PutFile(strPath);
    std::ofstream file(strPath, std::ios::binary | std::ios::app);
    constexpr std::size_t PIECES = 40;
    for (std::size_t n = 0; n < PIECES; ++n) {
        const std::size_t nFrom = strBytes.size() * n / PIECES;
        file << strBytes.substr(nFrom, strBytes.size() * (n + 1) / PIECES - nFrom) << std::flush;
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
    }
}

class ServeGrowing : public ServeUse, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Containers, ServeGrowing, testing::Values("ts", "es"));

TEST_P(ServeGrowing, WhatIsRecordedIsFollowedUntilTheCameraIsSilent) {
    ExpectEnd(0, std::string("record --dir made --no-stamps --pace fast --container ") +
                     GetParam() + " --camera a=streams/sound.mkv");
    const std::string strBytes = GetFile(RecordFilesBelow("made").at(0));
    const UtcTime tNow = Now();
    const auto PathOf = [](UtcTime t) {
        const std::string strDay = DayName(ToLocal(t));
        const std::string strTime = FormatTime(ToLocal(t));
        return "disk/RecordFile/" + strDay + "/a/" + strDay + "_" + strTime.substr(11, 2) +
               strTime.substr(14, 2) + strTime.substr(17) + ".mp4";
    };
    const std::string aPaths[] = {PathOf(tNow), PathOf(tNow + Seconds(6))};
    PutFile(aPaths[0]);
    Serve();
    const std::string strTarget =
        "/get?path=a&start=" + UrlEncoded(FormatIso(std::chrono::floor<Seconds>(tNow)));
    std::string strSpan;
    std::thread objViewer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(800));
        strSpan = Get(strTarget + "&duration=60");
    });
    std::thread objHost([&] {
        Grow(aPaths[0], strBytes);
        objViewer.join();
        Grow(aPaths[1], strBytes);
        for (const std::string& str : aPaths) {
            const auto tLongAgo = std::filesystem::last_write_time(str) - CAMERA_SILENCE;
            std::filesystem::last_write_time(str, tLongAgo);
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const std::string strFollowed = Get(strTarget);
    objHost.join();
    PutFile("./recording", strBytes);
    PutFile("./followed", BodyOf(strFollowed));
    PutFile("./span", BodyOf(strSpan));
    const std::size_t nFrames = CountPackets("recording", EAudio::No);
    EXPECT_EQ(CountPackets("followed", EAudio::No), 2 * nFrames);
    EXPECT_EQ(CountPackets("followed", EAudio::Yes) > 2 * nFrames, GetParam() == std::string("ts"));
    EXPECT_GT(CountPackets("span", EAudio::No), 5u);
    EXPECT_LT(CountPackets("span", EAudio::No), nFrames) << "it is not followed";
}

TEST_F(ServeUse, WhoWatchesOneDiskLeavesRoomForOthers) {
    ImportFour();
    Import("other", "2024-03-05 08:00");
    // What is being written is followed.
    for (const auto& stFile : std::filesystem::recursive_directory_iterator("disk/RecordFile")) {
        if (stFile.is_regular_file()) {
            std::filesystem::last_write_time(
                stFile, std::chrono::file_clock::now() + std::chrono::minutes(10));
        }
    }
    Serve("--dir disk --dir other");
    const std::string strTarget = "/get?path=my%20cam&start=2024-03-05T08:00:00Z";
    std::vector<int> vSockets;
    for (int n = 0; n < 128; ++n) {
        vSockets.push_back(Send(m_nPort, "GET " + strTarget + " HTTP/1.0\r\n\r\n"));
    }
    for (const int nSocket : vSockets) {
        char cFirst = 0;
        EXPECT_EQ(recv(nSocket, &cFirst, 1, 0), 1);
    }
    Expect(strTarget, 503);
    Expect("/list?path=my%20cam", 200);
    Expect("/get?path=cam01&start=2024-03-05T07:00:00Z&duration=6", 200);
    std::for_each(vSockets.begin(), vSockets.end(), close);
}

/// Bytes changed, missing and repeated.
std::string Damaged(std::string str, std::mt19937& random) {
    for (unsigned nFaults = 1 + random() % 4; nFaults > 0; --nFaults) {
        const std::size_t nPlace = random() % str.size(), nLength = random() % 9;
        if (random() % 4 == 0) str.insert(nPlace, str.substr(random() % str.size(), nLength));
        if (random() % 4 == 0) str.erase(nPlace, nLength);
        if (nPlace >= str.size()) continue;
        str[nPlace] = static_cast<char>(random() % 2 ? random() : '0' + random() % 10);
    }
    return str;
}

TEST_F(ServeUse, TenThousandMalformedRequestsHarmNothing) {
    const std::string aSeeds[] = {
        "/list?path=my%20cam&start=2024-03-05T08:00:00%2B01:00&end=2024-03-05T09:00:00.5Z",
        "/api/recordings?camera=my%20cam&from=0000-01-01T00:00:00Z&to=9999-12-31T23:59:59Z",
        "/api/timeline?day=2024-03-05"};
    constexpr unsigned CLIENTS = 40;
    ImportFour();
    Serve();
    std::vector<std::thread> vClients;
    for (unsigned nClient = 0; nClient < CLIENTS; ++nClient) {
        vClients.emplace_back([&, nClient] {
            std::mt19937 random(nClient);
            for (unsigned n = 0; n < 10'000 / CLIENTS; ++n) {
                const std::string str =
                    Damaged("GET " + aSeeds[n % std::size(aSeeds)] +
                                " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n",
                            random);
                EXPECT_THAT(Ask(m_nPort, str, 12, 50'000), testing::Not(HasSubstr(" 500 "))) << str;
            }
        });
    }
    for (std::thread& objClient : vClients) objClient.join();
    EXPECT_EQ(GetJson("/list?path=my%20cam").size(), 2u);
}

}  // namespace
