// The tool as people use it: record, import, query, export and the rest, on real streams.

#include <algorithm>

#include "../../tools/localstorage/ClipSource.h"
#include "RunTool.h"

namespace {

using nlohmann::json;

const Arguments EVER = {"--from", "2000-01-01", "--to", "2100-01-01"};

Arguments operator+(Arguments a, const Arguments& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<json> Events(const toolResult& st, const std::string& strName) {
    std::vector<json> vecEvents = st.Json();
    std::erase_if(vecEvents, [&](const json& js) { return js["event"] != strName; });
    return vecEvents;
}

std::vector<std::string> KeysOf(const json& js) {
    std::vector<std::string> vecKeys;
    for (const auto& [strKey, _] : js.items()) vecKeys.push_back(strKey);
    return vecKeys;  // in alphabetical order
}

clipFrames Frames(const std::string& strPath) {
    return ScanFrames(
        strPath, [](std::size_t) {}, std::atomic<bool>(false));
}

class ToolUse : public CToolTest {};

TEST_F(ToolUse, CamerasAreRecordedFoundAndCheckedAtOnce) {
    const toolResult st =
        Run({"record", "--dir", Dir(), "--camera", "a=" + Stream("h264.mp4"), "--camera",
             "b=" + Stream("h265.mp4"), "--camera", "c=" + Stream("noise.mp4"), "--camera",
             "d=" + Stream("h264.ts"), "--pace", "fast", "--file-size", "1", "--json"});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
    const auto vecClosed = Events(st, "closed");
    EXPECT_EQ(Events(st, "created").size(), vecClosed.size());
    EXPECT_EQ(Events(st, "ended").size(), 4u);
    EXPECT_GE(vecClosed.size(), 5u) << "the noise takes more than one file of 1 MiB";
    EXPECT_EQ(KeysOf(vecClosed.at(0)),
              (std::vector<std::string>{"bytes", "camera", "event", "path", "time"}));

    std::map<std::string, std::size_t> mapFrames;
    for (const json& js : vecClosed) {
        const clipFrames stFrames = Frames(js["path"]);
        ASSERT_FALSE(stFrames.vecFrames.empty());
        EXPECT_TRUE(stFrames.vecFrames[0].bKey) << js;
        EXPECT_GT(stFrames.nWidth, 0) << "a file plays alone: " << js;
        mapFrames[js["camera"]] += stFrames.vecFrames.size();
    }
    EXPECT_EQ(mapFrames,
              (std::map<std::string, std::size_t>{{"a", 150}, {"b", 100}, {"c", 75}, {"d", 150}}));

    const toolResult stQuery = Run(Arguments{"query", "--dir", Dir(), "--json"} + EVER);
    EXPECT_EQ(stQuery.Json().size(), vecClosed.size());
    EXPECT_EQ(KeysOf(stQuery.Json().at(0)),
              (std::vector<std::string>{"bytes", "camera", "dir", "end", "end_from", "layout",
                                        "path", "start", "type"}));
    EXPECT_EQ(
        Run(Arguments{"query", "--dir", Dir(), "--camera", "b", "--json"} + EVER).Json().size(),
        1u);
    EXPECT_EQ(Run({"check", "--dir", Dir()}).nCode, 0);

    for (const char* pCamera : {"b", "c"}) {
        const toolResult stClip = Run(
            Arguments{"export", "--dir", Dir(), "--camera", pCamera, "-o", Dir(pCamera), "--json"} +
            EVER);
        ASSERT_EQ(stClip.nCode, 0) << stClip.strErr;
        EXPECT_EQ(Frames(Dir(pCamera)).vecFrames.size(), mapFrames[pCamera]);
    }
}

TEST_F(ToolUse, ADamagedRecordingIsLeftOutOfTheClip) {
    Import(Dir(), "2024-03-05 08:00:00");
    PutFile(Dir() + "/RecordFile/20240305/cam01/20240305080006_20240305080012_1.mp4", "no video");
    const toolResult st =
        Run({"export", "--dir", Dir(), "--camera", "cam01", "--from", "2024-03-05", "--to",
             "2024-03-06", "-o", Dir("clip.mp4"), "--json"});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("is left out"), std::string::npos) << st.strErr;
    EXPECT_EQ(st.Json().at(0)["frames"], 150);
    EXPECT_EQ(Frames(Dir("clip.mp4")).vecFrames.size(), 150u);
}

TEST_F(ToolUse, EveryKeyFrameHasItsParameterSetsOnce) {
    const toolResult st = Run({"import", "--dir", Dir(), "--camera", "a", "--start", "2024-03-05",
                               Stream("h264.mp4"), "--json"});
    const std::string strFile = GetFile(Events(st, "closed").at(0)["path"]);
    std::size_t nSets = 0, nKeyFrames = 0;
    for (std::size_t n = 0; n + 3 < strFile.size(); ++n) {
        if (strFile.compare(n, 3, std::string("\0\0\1", 3)) != 0) continue;
        const int nKind = strFile[n + 3] & 0x1F;
        nSets += nKind == 7;
        nKeyFrames += nKind == 5;
    }
    EXPECT_GE(nKeyFrames, 6u);
    EXPECT_EQ(nSets, 6u);
}

TEST_F(ToolUse, AFailingCameraDoesNotStopTheOthers) {
    const toolResult st = Run({"record", "--dir", Dir(), "--camera", "a=" + Stream("h264.mp4"),
                               "--camera", "b=" + Stream("missing.mp4"), "--camera",
                               "c=" + Stream("mpeg2.mpg"), "--pace", "fast", "--json"});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("No such file"), std::string::npos) << st.strErr;
    EXPECT_NE(st.strErr.find("only H.264 and H.265"), std::string::npos) << st.strErr;
    EXPECT_EQ(Events(st, "closed").size(), 1u);
}

TEST_F(ToolUse, ARecordingThatBeganTheDayBeforeIsFound) {
    Import(Dir("d1"), "2024-03-04 23:59:57");
    Import(Dir("d2"), "2024-03-05 00:00:30");
    Import(Dir("d2"), "2024-03-05 00:00:30", "cam02");
    const auto vecFound = Run({"query", "--dir", Dir("d2"), "--dir", Dir("d1") + "/", "--camera",
                               "cam01", "--from", "2024-03-05", "--to", "2024-03-06", "--json"})
                              .Json();
    ASSERT_EQ(vecFound.size(), 2u);
    EXPECT_EQ(vecFound[0]["start"], "2024-03-04T23:59:57");
    EXPECT_EQ(vecFound[0]["end"], "2024-03-05T00:00:03");
    EXPECT_EQ(vecFound[1]["start"], "2024-03-05T00:00:30");
    EXPECT_EQ(vecFound[1]["type"], 1);
    EXPECT_EQ(Run({"check", "--dir", Dir("d1"), "--dir", Dir("d2")}).nCode, 0);
}

TEST_F(ToolUse, TheSameRecordingTwiceIsRefused) {
    Import(Dir(), "2024-03-05 08:00");
    const toolResult st = Run({"import", "--dir", Dir(), "--camera", "cam01", "--start",
                               "2024-03-05 08:00", "--type", "2", Stream("h264.mp4")});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("there already"), std::string::npos) << st.strErr;
}

TEST_F(ToolUse, AClipIsCutFromSeveralFilesAndDisks) {
    Import(Dir("d1"), "2024-03-05 08:00:00");
    Import(Dir("d2"), "2024-03-05 08:00:06");
    Import(Dir("d1"), "2024-03-05 08:01:00");
    const Arguments vecClip = {"export",   "--dir", Dir("d1"), "--dir",         Dir("d2"),
                               "--camera", "cam01", "-o",      Dir("clip.mp4"), "--json"};
    const toolResult st =
        Run(vecClip + Arguments{"--from", "2024-03-05 08:00:03", "--to", "2024-03-05 08:00:10"});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
    const json js = st.Json().at(0);
    EXPECT_EQ(js["start"], "2024-03-05T08:00:03");
    EXPECT_NEAR(js["seconds"].get<double>(), 7, 0.2);
    EXPECT_EQ(js["recordings"], 2);
    EXPECT_EQ(js["gaps"], 0);
    const clipFrames stFrames = Frames(Dir("clip.mp4"));
    EXPECT_EQ(stFrames.vecFrames.size(), js["frames"]);
    EXPECT_TRUE(stFrames.vecFrames[0].bKey);
    EXPECT_NEAR(*CMediaInput(Dir("clip.mp4"), nullptr).Duration(), 7, 0.2);

    const Arguments vecLonger = {"--from", "2024-03-05 08:00:03", "--to", "2024-03-05 08:01:06"};
    EXPECT_EQ(Run(vecClip + vecLonger).nCode, 1) << "an existing file is not replaced";
    const toolResult stGap = Run(vecClip + vecLonger + Arguments{"--force"});
    EXPECT_EQ(stGap.nCode, 0);
    EXPECT_EQ(stGap.Json().at(0)["gaps"], 1);
    EXPECT_NEAR(stGap.Json().at(0)["seconds"].get<double>(), 15, 0.3);
    EXPECT_NE(stGap.strErr.find("gap: nothing recorded from 2024-03-05 08:00:12 to "
                                "2024-03-05 08:01:00"),
              std::string::npos)
        << stGap.strErr;
}

TEST_F(ToolUse, LayoutsDoNotMix) {
    Import(Dir("backup"), "2024-03-05");
    const toolResult st = Run({"record", "--dir", Dir("backup"), "--camera",
                               "a=" + Stream("h264.mp4"), "--pace", "fast"});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("use another directory"), std::string::npos) << st.strErr;
    EXPECT_EQ(Run({"check", "--dir", Dir("backup")}).nCode, 0);
}

TEST_F(ToolUse, ARunningHostIsLeftAloneAndCtrlCClosesIt) {
    CBackgroundTool stHost({"--log-dir", m_tmp / "log2", "record", "--dir", Dir(), "--camera",
                            "a=" + Stream("h264.mp4"), "--snapshot-every", "60", "--json"},
                           m_tmp / "events");
    ASSERT_TRUE(stHost.WaitFor("\"snapshot\"")) << GetFile(m_tmp / "events.err");
    EXPECT_EQ(Run(Arguments{"query", "--dir", Dir()} + EVER).nCode, 0);
    EXPECT_EQ(Run({"status", "--dir", Dir()}).nCode, 0);
    const toolResult st = Run({"record", "--dir", Dir(), "--camera", "b=" + Stream("h264.mp4")});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("is in use"), std::string::npos) << st.strErr;
    EXPECT_EQ(stHost.Interrupt(), 0);
    const std::string strEvents = GetFile(m_tmp / "events");
    EXPECT_NE(strEvents.find("\"closed\""), std::string::npos);
    EXPECT_NE(strEvents.find("\"reason\":\"stopped\""), std::string::npos) << strEvents;
}

TEST_F(ToolUse, SnapshotsAreJpegsAndStatusCountsThem) {
    const toolResult st = Run({"record", "--dir", Dir(), "--camera", "a=" + Stream("h265.mp4"),
                               "--pace", "fast", "--snapshot-every", "1", "--json"});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
    const auto vecSnapshots = Events(st, "snapshot");
    ASSERT_FALSE(vecSnapshots.empty());
    EXPECT_EQ(GetFile(vecSnapshots[0]["path"]).substr(0, 2), "\xFF\xD8");
    const auto vecStatus = Run({"status", "--dir", Dir(), "--json"}).Json();
    ASSERT_EQ(vecStatus.size(), 2u);
    EXPECT_EQ(vecStatus[0]["kind"], "disk");
    EXPECT_EQ(vecStatus[0]["pictures"], 1);
    EXPECT_EQ(vecStatus[0]["folder"], "RecordFile");
    EXPECT_EQ(vecStatus[1]["kind"], "camera");
    EXPECT_EQ(vecStatus[1]["recordings"], 1);
}

TEST_F(ToolUse, TheTimelineShowsRecordingsAndGaps) {
    Import(Dir(), "2024-03-05 08:00:00");
    Import(Dir(), "2024-03-05 09:00:00");
    const auto vecRows =
        Run({"timeline", "--dir", Dir(), "--day", "2024-03-05", "--json", "--svg", Dir("t.svg")})
            .Json();
    ASSERT_EQ(vecRows.size(), 1u);
    EXPECT_EQ(vecRows[0]["seconds"], 12);
    EXPECT_EQ(vecRows[0]["gaps"][0]["start"], "2024-03-05T08:00:06");
    EXPECT_EQ(vecRows[0]["gaps"][0]["end"], "2024-03-05T09:00:00");
    EXPECT_EQ(GetFile(Dir("t.svg")).substr(0, 4), "<svg");
}

TEST_F(ToolUse, ExitCodes) {
    Import(Dir(), "2024-03-05");
    const struct {
        Arguments vecArguments;
        int nCode;
    } ROWS[] = {
        {{"--version"}, 0},
        {{"--help"}, 0},
        {{"query", "--help"}, 0},
        {{}, 2},
        {{"query"}, 2},
        {{"query", "--dir", Dir(), "--from", "2024-03-05", "--to", "2024-03-06"}, 0},
        {{"query", "--dir", Dir(), "--from", "2024-03-06", "--to", "2024-03-05"}, 2},
        {{"query", "--dir", Dir(), "--from", "2024-03-06", "--to", "2024-03-07"}, 3},
        {{"query", "--dir", Dir("missing")}, 1},
        {{"timeline", "--dir", Dir(), "--day", "2024-03-06"}, 3},
        {{"export", "--dir", Dir(), "--camera", "x", "--from", "2024-03-05", "--to", "2024-03-06",
          "-o", Dir("x.mp4")},
         3},
        {{"import", "--dir", Dir(), "--camera", "cam01", "--start", "2024-03-07", "--end",
          "2024-03-06", Stream("h264.mp4")},
         2},
        {{"import", "--dir", Dir(), "--camera", "cam_01_2", "--start", "today", Stream("h264.mp4")},
         1},
        {{"dump", Dir() + "/RecordFile/index01.bin"}, 0},
        {{"dump", Dir() + "/RecordFile/index02.bin"}, 1},
        {{"dump", Stream("h264.mp4")}, 2},
        {{"prune", "--dir", Dir()}, 2},
    };
    for (const auto& st : ROWS) {
        const toolResult stResult = Run(st.vecArguments);
        EXPECT_EQ(stResult.nCode, st.nCode) << ::testing::PrintToString(st.vecArguments);
        EXPECT_EQ(st.nCode == 0, stResult.strErr.empty()) << stResult.strErr;
        EXPECT_EQ(st.nCode == 0, !stResult.strOut.empty());
    }
}

}  // namespace
