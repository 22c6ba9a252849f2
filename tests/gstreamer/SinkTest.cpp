// localstoragesink in pipelines, as applications use it, and by itself.

#include <csignal>
#include <cstdio>
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <numeric>
#include <sys/resource.h>

#include "Support/Test.h"
#include "localstorage/LocalStorageLog.h"

// GLib outgrows what it makes while it is loaded and keeps the old, on purpose; an encoder leaks.
// Both are told by what stands in their stacks, so these must be whole.
extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}
extern "C" const char* __lsan_default_suppressions() {
    return "leak:ld-linux\nleak:libx265.so\n";
}

namespace {

/// Elements of a description, and what they post.
class CElements {
public:
    ~CElements() {
        gst_element_set_state(m_pElement, GST_STATE_NULL);
        gst_object_unref(m_pBus);
        gst_object_unref(m_pElement);
    }
    CElements(const CElements&) = delete;
    CElements& operator=(const CElements&) = delete;

    Texts m_vOpened, m_vClosed;
    std::vector<GstClockTime> m_vTimes;  ///< of both
    std::optional<int> m_nWarning, m_nError;
    std::string m_strText;  ///< of the last of these

protected:
    explicit CElements(const std::string& strText) {
        static const bool s_bLoaded = [] {
            gst_init(nullptr, nullptr);
            return gst_plugin_load_file(PLUGIN_PATH, nullptr) != nullptr;
        }();
        m_pElement = s_bLoaded ? gst_parse_launch(strText.c_str(), nullptr) : nullptr;
        if (!m_pElement) throw std::runtime_error("no such pipeline: " + strText);
    }

    /// The next message; false when there is none for so long.
    bool TakeNext(GstClockTime nTimeout) {
        GstMessage* const pMessage = gst_bus_timed_pop(m_pBus, nTimeout);
        if (!pMessage) return false;
        Take(pMessage);
        gst_message_unref(pMessage);
        return true;
    }

    GstElement* m_pElement = nullptr;
    GstBus* m_pBus = nullptr;
    bool m_bEnded = false;  ///< by an error or the stream's end

private:
    void Take(GstMessage* pMessage) {
        const GstMessageType eType = GST_MESSAGE_TYPE(pMessage);
        if (eType == GST_MESSAGE_WARNING) m_nWarning = Take(pMessage, gst_message_parse_warning);
        if (eType == GST_MESSAGE_ERROR) m_nError = Take(pMessage, gst_message_parse_error);
        if (eType == GST_MESSAGE_ELEMENT) TakeFragment(gst_message_get_structure(pMessage));
        m_bEnded |= eType == GST_MESSAGE_ERROR || eType == GST_MESSAGE_EOS;
    }
    /// The code, if it is one of the resource errors.
    template <typename Parse>
    int Take(GstMessage* pMessage, Parse parse) {
        GError* pError = nullptr;
        parse(pMessage, &pError, nullptr);
        const int nCode = pError->domain == GST_RESOURCE_ERROR ? pError->code : -1;
        m_strText = pError->message;
        g_error_free(pError);
        return nCode;
    }
    void TakeFragment(const GstStructure* pStructure) {
        const std::string strName = gst_structure_get_name(pStructure);
        if (!strName.starts_with("localstoragesink-fragment-")) return;
        gst_structure_get_clock_time(pStructure, "running-time", &m_vTimes.emplace_back());
        Texts& vPaths = strName.ends_with("opened") ? m_vOpened : m_vClosed;
        vPaths.push_back(gst_structure_get_string(pStructure, "location"));
    }
};

/// A pipeline that runs, until the end of the object.
class CPipeline : public CElements {
public:
    explicit CPipeline(const std::string& strText) : CElements(strText) {
        m_pBus = gst_element_get_bus(m_pElement);
        SetState(GST_STATE_PLAYING);
    }

    void SetState(GstState eState) { gst_element_set_state(m_pElement, eState); }

    /// Takes messages until the end, an error, or so many files were begun and closed.
    CPipeline& Await(std::size_t nOpened = SIZE_MAX, std::size_t nClosed = 0) {
        while (!m_bEnded && (m_vOpened.size() < nOpened || m_vClosed.size() < nClosed)) {
            if (!TakeNext(60 * GST_SECOND)) throw std::runtime_error("the pipeline hangs");
        }
        return *this;
    }

    /// Of its only sink.
    void SetLocation(const std::string& strLocation) {
        GstElement* const pSink = gst_bin_get_by_name(GST_BIN(m_pElement), "sink");
        g_object_set(pSink, "location", strLocation.c_str(), nullptr);
        gst_object_unref(pSink);
    }
};

/// Frames that do not compress, so that files fill up.
std::string Frames(int nCount, const std::string& strMore = "") {
    return "videotestsrc pattern=snow num-buffers=" + std::to_string(nCount) + " " + strMore +
           " ! video/x-raw,width=320,height=240,framerate=25/1 ! ";
}

/// The parameter sets are told once, to the parser.
const std::string X264 =
    "x264enc bitrate=12000 key-int-max=10 speed-preset=ultrafast option-string=repeat-headers=0 ! "
    "video/x-h264,stream-format=avc ! ";
const std::string H264 = X264 + "h264parse ! ";
const std::string MUXED = X264 + "h264parse config-interval=-1 ! ";

std::string Sink(const std::string& strLocation, const std::string& strMore = "camera=door") {
    return "localstoragesink location=" + strLocation + " " + strMore + " ";
}

/// The element alone, at work, which gets a stream and events as a test says.
class CFedSink : public CElements {
public:
    static constexpr GstClockTime FRAME = 40 * GST_MSECOND;

    explicit CFedSink(const std::string& strSink) : CElements(strSink) {
        GstHarness* const pCamera = gst_harness_new_parse(
            (Frames(30) + H264 +
             "capsfilter caps=video/x-h264,stream-format=byte-stream,alignment=au")
                .c_str());
        gst_harness_play(pCamera);
        std::generate(m_aFrames.begin(), m_aFrames.end(),
                      [pCamera] { return gst_harness_pull(pCamera); });
        m_pCaps = gst_pad_get_current_caps(pCamera->sinkpad);
        gst_harness_teardown(pCamera);

        m_pBus = gst_bus_new();
        gst_element_set_bus(m_pElement, m_pBus);
        m_pHarness = gst_harness_new_with_element(m_pElement, "sink", nullptr);
        SetCaps();
    }
    ~CFedSink() {
        gst_harness_teardown(m_pHarness);
        gst_caps_unref(m_pCaps);
        std::for_each(m_aFrames.begin(), m_aFrames.end(), gst_buffer_unref);
    }

    void SetCaps() { gst_harness_set_src_caps(m_pHarness, gst_caps_copy(m_pCaps)); }

    /// Times start with `nStart`, which is shown at `nBase` on the clock.
    void SetSegment(GstClockTime nStart, GstClockTime nBase) {
        GstSegment stSegment;
        gst_segment_init(&stSegment, GST_FORMAT_TIME);
        stSegment.start = stSegment.time = nStart;
        stSegment.base = nBase;
        Send(gst_event_new_segment(&stSegment));
    }
    void Flush() {
        Send(gst_event_new_flush_start());
        Send(gst_event_new_flush_stop(TRUE));
    }
    bool Send(GstEvent* pEvent) { return Took(gst_harness_push_event(m_pHarness, pEvent)); }

    /// The frames [nBegin, nEnd) of 30, of which every tenth is a key frame; false if one of them
    /// is refused.
    bool Push(std::size_t nBegin, std::size_t nEnd) {
        bool bTaken = true;
        for (std::size_t n = nBegin; n < nEnd; ++n) {
            GstBuffer* const pFrame = gst_buffer_copy(m_aFrames[n]);
            GST_BUFFER_PTS(pFrame) = n * FRAME;
            GST_BUFFER_DURATION(pFrame) = FRAME;
            bTaken &= Took(gst_harness_push(m_pHarness, pFrame) == GST_FLOW_OK);
        }
        return bTaken;
    }

private:
    bool Took(bool bResult) {
        while (TakeNext(0)) continue;
        return bResult;
    }

    std::array<GstBuffer*, 30> m_aFrames{};
    GstCaps* m_pCaps = nullptr;
    GstHarness* m_pHarness = nullptr;
};

/// How many frames come out of each file alone.
std::vector<int> DecodedFrames(const Texts& vTexts) {
    std::vector<int> vFrames;
    for (const std::string& strPath : vTexts) {
        const std::string strCommand =
            "ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 '" +
            strPath + "'";
        const std::unique_ptr<FILE, int (*)(FILE*)> pOutput(popen(strCommand.c_str(), "r"), pclose);
        int nFrames = 0;
        if (std::fscanf(pOutput.get(), "%d", &nFrames) != 1) nFrames = 0;
        vFrames.push_back(nFrames);
    }
    return vFrames;
}

struct stream {
    const char* pName;
    std::string strMade;
};

void PrintTo(const stream& st, std::ostream* pOut) {
    *pOut << st.pName;
}

class Stream : public testing::TestWithParam<stream> {};

TEST_P(Stream, EveryFileDecodesAloneAndNoFrameIsLost) {
    const CTempDir dir;
    CPipeline recording(Frames(75, "is-live=true") + GetParam().strMade +
                        Sink(dir / "a:" + (dir / "b"), "camera=door file-size=1"));
    recording.Await();
    ASSERT_FALSE(recording.m_nError) << recording.m_strText;
    EXPECT_EQ(recording.m_vOpened, RecordFilesBelow(dir / "a"));
    EXPECT_EQ(recording.m_vClosed, recording.m_vOpened);
    EXPECT_TRUE(RecordFilesBelow(dir / "b").empty());
    EXPECT_TRUE(std::is_sorted(recording.m_vTimes.begin(), recording.m_vTimes.end()));
    EXPECT_LT(recording.m_vTimes.front(), GST_SECOND);
    EXPECT_GE(recording.m_vTimes.back(), 2900 * GST_MSECOND);

    const std::vector<int> vFrames = DecodedFrames(recording.m_vOpened);
    EXPECT_GT(vFrames.size(), 1u);
    EXPECT_THAT(vFrames, Each(testing::Gt(0)));
    EXPECT_EQ(std::accumulate(vFrames.begin(), vFrames.end(), 0), 75);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, Stream,
    testing::Values(stream{"H264", H264},
                    stream{"H265",
                           "x265enc bitrate=12000 key-int-max=10 speed-preset=ultrafast "
                           "tune=zerolatency ! h265parse ! "},
                    stream{"Transport", MUXED + "mpegtsmux ! "},
                    stream{"BluRay", MUXED + "mpegtsmux m2ts-mode=true ! "},
                    stream{"Program", MUXED + "mpegpsmux ! "}),
    [](const auto& stOne) { return std::string(stOne.param.pName); });

TEST(Sink, OtherCapsBeginAnotherFile) {
    const CTempDir dir;
    CPipeline recording(
        "concat name=c ! " + Sink(dir.Path(), "camera=door log-location=" + (dir / "log")) +
        Frames(20) + H264 + "c. " +
        "videotestsrc num-buffers=30 ! video/x-raw,width=640,height=480 ! " + H264 + "c.");
    recording.Await();
    ASSERT_FALSE(recording.m_nError) << recording.m_strText;
    EXPECT_THAT(DecodedFrames(recording.m_vClosed), ElementsAre(20, 30));
    EXPECT_FALSE(fs::is_empty(dir / "log"));
}

TEST(Sink, TheFileGoesOnAfterAFlushInOtherSegmentsAndWithTheSameCaps) {
    const CTempDir dir;
    CFedSink sink(Sink(dir.Path()));
    EXPECT_TRUE(sink.Push(0, 15));
    sink.Flush();
    sink.SetSegment(20 * CFedSink::FRAME, 0);
    EXPECT_TRUE(sink.Push(20, 30));
    sink.SetSegment(0, GST_SECOND);
    EXPECT_TRUE(sink.Push(0, 10));
    sink.SetCaps();
    sink.SetSegment(0, 10 * GST_SECOND);
    EXPECT_TRUE(sink.Push(10, 20));
    EXPECT_EQ(sink.m_vOpened.size(), 1u);
    EXPECT_TRUE(sink.Send(gst_event_new_eos()));
    EXPECT_EQ(sink.m_vClosed, sink.m_vOpened);
    EXPECT_THAT(sink.m_vTimes, ElementsAre(0, 10 * GST_SECOND + 20 * CFedSink::FRAME));
    EXPECT_FALSE(sink.Push(0, 1) || sink.Send(gst_event_new_eos()));

    // A seek into the middle of a group of pictures: what precedes it comes too.
    sink.Flush();
    sink.SetSegment(5 * CFedSink::FRAME, 0);
    EXPECT_TRUE(sink.Push(0, 10) && sink.Send(gst_event_new_eos()));
    EXPECT_THAT(sink.m_vTimes, ElementsAre(testing::_, testing::_, 0, 5 * CFedSink::FRAME));
    EXPECT_THAT(DecodedFrames(sink.m_vClosed), ElementsAre(45, 10));
    EXPECT_FALSE(sink.m_nError) << sink.m_strText;
}

TEST(Sink, ReadyEndsTheFileAndLetsTheNextLieElsewhere) {
    const CTempDir dir;
    CPipeline recording(Frames(-1, "is-live=true") + H264 +
                        Sink(dir / "a", "camera=door name=sink"));
    recording.Await(1);
    recording.SetState(GST_STATE_PAUSED);
    recording.SetState(GST_STATE_PLAYING);
    for (std::size_t nFiles = 1; nFiles <= 2; ++nFiles) {
        recording.Await(nFiles).SetState(GST_STATE_READY);
        recording.Await(0, nFiles).SetLocation(dir / "b");
        recording.SetState(GST_STATE_PLAYING);
    }
    recording.Await(3);
    EXPECT_THAT(recording.m_vOpened, ElementsAre(StartsWith(dir / "a/"), StartsWith(dir / "b/"),
                                                 StartsWith(dir / "b/")));
    EXPECT_THAT(DecodedFrames(recording.m_vClosed), Each(testing::Gt(0)));
}

TEST(Sink, RemoteBackupsEndInTimeAndWithThePipeline) {
    const CTempDir dir;
    {
        CPipeline recording(Frames(-1, "is-live=true") + H264 +
                            Sink(dir.Path(),
                                 "camera=door layout=remote-backup file-duration=1 "
                                 "record-type=3"));
        recording.Await(3);
        ASSERT_FALSE(recording.m_nError) << recording.m_strText;
    }  // without an end of the stream
    const Texts vFiles = RecordFilesBelow(dir.Path());
    EXPECT_THAT(vFiles, Each(EndsWith("_3.mp4")));
    const std::vector<int> vFrames = DecodedFrames(vFiles);
    EXPECT_GE(vFrames.size(), 3u);
    EXPECT_THAT(vFrames, Each(testing::Gt(0)));
}

TEST(Sink, SinksShareTheEngineOfTheirDirectories) {
    const CTempDir dir;
    // Another engine could not lock the directory.
    CPipeline recording(Frames(50) + H264 + "tee name=t ! queue ! " + Sink(dir.Path()) +
                        "t. ! queue ! " +
                        Sink(dir.Path() + "/", "camera=yard log-location=" + (dir / "log")));
    recording.Await();
    ASSERT_FALSE(recording.m_nError) << recording.m_strText;
    EXPECT_THAT(DecodedFrames(RecordFilesBelow(dir.Path())), ElementsAre(50, 50));

    CPipeline other(Frames(50) + H264 + Sink(dir.Path(), "camera=hall file-size=9"));
    EXPECT_EQ(other.Await().m_nError, GST_RESOURCE_ERROR_BUSY) << other.m_strText;
    CPipeline twice(Frames(50) + H264 + "tee name=t ! queue ! " + Sink(dir / "c") +
                    "t. ! queue ! " + Sink(dir / "c"));
    EXPECT_EQ(twice.Await().m_nError, GST_RESOURCE_ERROR_BUSY) << twice.m_strText;
    other.SetState(GST_STATE_NULL);
    EXPECT_EQ(WriteLog(LOG_LEVEL_ERR, "", 0, "the first one still logs"), LOG_OK);
}

TEST(Sink, WhatFailsIsAnErrorInWords) {
    const CTempDir dir;
    PutFile(dir / "file");
    PutFile(dir / "client/RecordFile/20240305/door/20240305_080000.mp4");
    const std::string strFree = dir / "free";
    const struct {
        std::string strSink;
        int nCode;
        const char* pText;
    } aCases[] = {
        {Sink(strFree, ""), GST_RESOURCE_ERROR_SETTINGS, "no camera"},
        {"localstoragesink camera=door", GST_RESOURCE_ERROR_SETTINGS, "no location"},
        {Sink(strFree, "camera=a/b"), GST_RESOURCE_ERROR_SETTINGS, "a/b"},
        {Sink(strFree, "camera=door layout=remote-backup"), GST_RESOURCE_ERROR_SETTINGS,
         "file-duration"},
        {Sink(dir / "client", "camera=door layout=remote-backup file-duration=9"),
         GST_RESOURCE_ERROR_SETTINGS, "other layout"},
        {Sink(dir / "file/disk"), GST_RESOURCE_ERROR_OPEN_WRITE, "Not a directory"},
    };
    for (const auto& [strSink, nCode, pText] : aCases) {
        CPipeline failing(Frames(9) + H264 + strSink);
        EXPECT_EQ(failing.Await().m_nError, nCode) << strSink;
        EXPECT_THAT(failing.m_strText, HasSubstr(pText));
    }
    SetStorageOption(STORAGE_OPTION_FULL_SPACE, 1073741824);  // MiB
    CPipeline full(Frames(9) + H264 + Sink(strFree));
    EXPECT_EQ(full.Await().m_nError, GST_RESOURCE_ERROR_NO_SPACE_LEFT) << full.m_strText;
    SetStorageOption(STORAGE_OPTION_FULL_SPACE, LOCALSTORAGE_DISK_FULL_SPACE);
}

TEST(Sink, WritesThatFailAreAWarningAndAtTheEndAnError) {
    const CTempDir dir;
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit stNone{RLIM_INFINITY, RLIM_INFINITY}, stSmall{65536, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &stSmall);
    CPipeline recording(Frames(50) + H264 + Sink(dir.Path()));
    recording.Await();
    setrlimit(RLIMIT_FSIZE, &stNone);
    EXPECT_EQ(recording.m_nWarning, GST_RESOURCE_ERROR_WRITE);
    EXPECT_EQ(recording.m_nError, GST_RESOURCE_ERROR_WRITE);
    EXPECT_THAT(recording.m_strText, HasSubstr("File too large"));
}

}  // namespace
