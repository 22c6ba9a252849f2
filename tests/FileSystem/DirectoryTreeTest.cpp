#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "FileSystem/FileSystem.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

bool Exists(const std::string& strPath) {
    return std::filesystem::exists(std::filesystem::symlink_status(strPath));
}

mode_t ModeOf(const std::string& strPath) {
    struct stat stStat = {};
    EXPECT_EQ(::stat(strPath.c_str(), &stStat), 0) << strPath;
    return stStat.st_mode & 0777;
}

class DirectoryTreeTest : public testing::Test {
protected:
    DirectoryTreeTest() {
        PutFile(m_strTree + "/a/b/file");
        PutFile(m_strTree + "/a/file");
        PutFile(m_strTree + "/file");
        PutFile(m_dir / "outside/precious");
    }

    CTempDir m_dir;
    const std::string m_strTree = m_dir / "tree";
};

}  // namespace

TEST_F(DirectoryTreeTest, DeleteLeavesNothingButWhatLinksPointTo) {
    std::filesystem::create_directory_symlink(m_dir / "outside", m_strTree + "/a/link");
    EXPECT_TRUE(DeleteDirectory(m_strTree + "/"));
    EXPECT_FALSE(Exists(m_strTree));
    EXPECT_TRUE(DeleteDirectory(m_strTree)) << "nothing of it is left";

    std::filesystem::create_directory_symlink(m_dir / "outside", m_strTree);
    EXPECT_FALSE(DeleteDirectory(m_strTree + "/"));
    EXPECT_TRUE(Exists(m_dir / "outside/precious"));
}

TEST_F(DirectoryTreeTest, DeleteGoesOnBehindFailuresAndTells) {
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree + "/a"), EIO).From(5).Times(1);
    EXPECT_FALSE(DeleteDirectory(m_strTree)) << "the walk broke off";
    EXPECT_FALSE(Exists(m_strTree + "/a/file"));
    PutFile(m_strTree + "/a/b/file");
    faults.Fail(Op::Unlink, Is(m_strTree + "/a/b/file"), EPERM);
    EXPECT_FALSE(DeleteDirectory(m_strTree));
    EXPECT_TRUE(Exists(m_strTree + "/a/b/file"));
    EXPECT_FALSE(Exists(m_strTree + "/file"));
}

TEST_F(DirectoryTreeTest, ListTellsFoldersFromTheRest) {
    std::filesystem::create_directory_symlink(m_dir / "outside", m_strTree + "/link");
    std::list<std::string> lsDir = {"before"}, lsFile;
    EXPECT_TRUE(GetSubTargetList(m_strTree, lsDir, lsFile));
    EXPECT_THAT(lsDir, ElementsAre("before", "a"));
    EXPECT_THAT(lsFile, UnorderedElementsAre("file", "link"));
}

TEST_F(DirectoryTreeTest, AnUnreadableDirectoryIsNotAnEmptyOne) {
    std::list<std::string> lsDir, lsFile;
    EXPECT_FALSE(GetSubTargetList(m_dir / "missing", lsDir, lsFile));
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree), EIO).From(4);
    EXPECT_FALSE(GetSubTargetList(m_strTree, lsDir, lsFile));
}

TEST_F(DirectoryTreeTest, MakeFullPathMakesWhatEndsBeforeASeparator) {
    EXPECT_TRUE(MakeFullPath((m_dir / "x/y/z").c_str()));
    EXPECT_TRUE(Exists(m_dir / "x/y"));
    EXPECT_FALSE(Exists(m_dir / "x/y/z"));
    EXPECT_TRUE(MakeFullPath((m_dir / "x//y/z/").c_str()));
    EXPECT_TRUE(Exists(m_dir / "x/y/z"));
    EXPECT_TRUE(MakeFullPath("/"));
    EXPECT_TRUE(MakeFullPath("relative"));
}

TEST_F(DirectoryTreeTest, MakeFullPathOpensUpOnlyWhatItMade) {
    ::chmod(m_strTree.c_str(), 0750);
    const mode_t nBefore = ::umask(077);
    EXPECT_TRUE(MakeFullPath((m_strTree + "/new/newer/").c_str()));
    ::umask(nBefore);
    EXPECT_EQ(ModeOf(m_strTree), 0750u);
    EXPECT_EQ(ModeOf(m_strTree + "/new"), 0777u);
    EXPECT_EQ(ModeOf(m_strTree + "/new/newer"), 0777u);
}

TEST_F(DirectoryTreeTest, MakeFullPathTellsFailure) {
    EXPECT_FALSE(MakeFullPath((m_strTree + "/file/").c_str())) << "a file stands there";
    const std::string strNew = m_dir / "new/";
    std::string strLong = strNew;
    while (strLong.size() < 260) strLong += "x/";
    EXPECT_FALSE(MakeFullPath(strLong.c_str()));
    EXPECT_EQ(OSL_GetSystemLastError(), ENAMETOOLONG);
    EXPECT_FALSE(Exists(strNew)) << "a path that is too long makes nothing";
    CFaultInjection faults;
    faults.Fail(Op::MakeDir, Is(strNew), ENOSPC);
    EXPECT_FALSE(MakeFullPath((strNew + "below/").c_str()));
    EXPECT_EQ(OSL_GetSystemLastError(), ENOSPC) << "the reason, not its consequences";
}

TEST_F(DirectoryTreeTest, FolderAttributeKnowsEntriesOnly) {
    OSL_FINFO_S stInfo;
    EXPECT_TRUE(GetFolderAttribute(m_strTree, "a", stInfo));
    EXPECT_EQ(stInfo.wFileType, OSL_TYPE_DIR);
    for (const char* pName : {"missing", ".", "..", "", "a/file"}) {
        EXPECT_FALSE(GetFolderAttribute(m_strTree, pName, stInfo)) << pName;
    }
}

TEST(PathTextTest, SlashesAndTheLastOne) {
    for (const auto& [pGiven, pExpected] :
         {std::pair{"a\\b\\c", "a/b/c/"}, std::pair{"/a/", "/a/"}, std::pair{"\\", "/"}}) {
        char szPath[16];
        ReplaceBlackSlash(std::strcpy(szPath, pGiven));
        EXPECT_STREQ(szPath, pExpected);
    }
    ReplaceBlackSlash(nullptr);
}
