// What is found where a folder cannot be read, or no thread be had.

#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Catalogue/Catalogue.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

using testing::ElementsAre, testing::SizeIs;

class Unread : public testing::Test {
protected:
    Unread() {
        for (const char* pDay : {"20240305", "20240306"}) {
            PutFile(m_strFolder + pDay + "/cam/" + pDay + "_080000.mp4", "x");
            PutFile(m_dir / "ImageFile/" + pDay + "/cam/" + pDay + "_080000.jpg", "x");
        }
    }

    const CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile/";
    CFaultInjection m_faults;
};

TEST_F(Unread, TheRestIsFoundAndTheFolderIsTold) {
    const struct {
        Op eOp;
        std::string strFails, strTold;
        std::size_t nRecordings, nDays, nPictures;
    } ROWS[] = {
        {Op::OpenDir, "RecordFile", "RecordFile", 0, 0, 2},
        {Op::Open, "RecordFile", "RecordFile", 0, 0, 2},
        {Op::ReadDir, "RecordFile/20240306", "RecordFile/20240306", 1, 1, 2},
        {Op::Open, "RecordFile/20240306/cam", "RecordFile/20240306/cam", 1, 2, 2},
        {Op::Stat, "RecordFile/20240306/cam/20240306_080000.mp4", "RecordFile/20240306/cam", 1, 2,
         2},
        {Op::OpenDir, "ImageFile/20240306", "ImageFile/20240306", 2, 2, 1},
        {Op::Stat, "ImageFile/20240305/cam/20240305_080000.jpg", "ImageFile/20240305/cam", 2, 2, 1},
    };
    const std::vector<std::string> vDirs{m_dir.Path()};
    for (const auto& row : ROWS) {
        SCOPED_TRACE(row.strFails);
        m_faults.Reset();
        m_faults.Fail(row.eOp, Is(m_dir / row.strFails), EIO);
        auto stRecordings = SearchRecordings(vDirs, {});
        auto stPictures = SearchPictures(vDirs);
        EXPECT_THAT(stRecordings.vFound, SizeIs(row.nRecordings));
        EXPECT_THAT(SearchDays(vDirs).vFound, SizeIs(row.nDays));
        EXPECT_THAT(stPictures.vFound, SizeIs(row.nPictures));
        stRecordings.mUnread.merge(stPictures.mUnread);
        EXPECT_THAT(stRecordings.mUnread, ElementsAre(std::pair(m_dir / row.strTold, EIO)));
        const auto FindAll = [&] {
            FindRecordings(vDirs, {});
            FindPictures(vDirs);
        };
        EXPECT_THROW(FindAll(), std::system_error) << "nobody takes a part for all of it";
    }
}

TEST_F(Unread, NoCameraIsMissedWithAndWithoutThreads) {
    recordingFilter stFilter;
    for (int n = 0; n < 40; ++n) {
        PutFile(m_strFolder + "20240305/cam" + std::to_string(n) + "/20240305_090000.mp4", "x");
        if (n % 2 == 0) stFilter.vCameras.push_back("cam" + std::to_string(n));
    }
    const auto Paths = [&](const recordingFilter& st) {
        std::vector<std::string> vPaths;
        for (const recording& stOne : FindRecordings({m_dir.Path()}, st)) {
            vPaths.push_back(stOne.Path());
        }
        return vPaths;
    };
    const auto vAll = Paths({});
    EXPECT_THAT(vAll, SizeIs(42));
    EXPECT_THAT(Paths(stFilter), SizeIs(20));
    m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN);
    EXPECT_EQ(Paths({}), vAll);
}

TEST_F(Unread, TheLayoutIsToldByTheRest) {
    const std::string strClient = m_strFolder + "20240305/cam/20240305_080000.mp4";
    for (const char* pBad : {"20240306", "20240306/cam"}) {
        m_faults.Reset();
        m_faults.Fail(Op::OpenDir, Is(m_strFolder + pBad), EIO);
        EXPECT_EQ(FindLayout(m_dir.Path(), LOCAL_STORAGE_CLIENT), strClient);
    }
    m_faults.Fail(Op::OpenDir, Is(m_strFolder), EIO);
    EXPECT_EQ(FindLayout(m_dir.Path(), LOCAL_STORAGE_CLIENT), std::nullopt);
}

}  // namespace
