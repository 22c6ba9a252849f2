#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "FileSystem/FileSystem.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

namespace {

bool Exists(const std::string& strPath) {
    return fs::exists(fs::symlink_status(strPath));
}

class DirectoryTreeTest : public testing::Test {
protected:
    DirectoryTreeTest() {
        for (const char* pName :
             {"tree/a/b/file", "tree/a/file", "tree/file", "outside/precious"}) {
            PutFile(m_dir / pName);
        }
    }

    CTempDir m_dir;
    const std::string m_strTree = m_dir / "tree";
};

}  // namespace

TEST_F(DirectoryTreeTest, DeleteLeavesNothingButWhatLinksPointTo) {
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/a/link");
    EXPECT_TRUE(DeleteDirectory(m_strTree + "/"));
    EXPECT_FALSE(Exists(m_strTree));
    EXPECT_TRUE(DeleteDirectory(m_strTree)) << "nothing of it is left";

    fs::create_directory_symlink(m_dir / "outside", m_strTree);
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
    EXPECT_FALSE(Exists(m_strTree + "/file"));
}

TEST_F(DirectoryTreeTest, ListTellsFoldersFromTheRestAndUnreadableFromEmpty) {
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/link");
    std::list<std::string> lsDir = {"before"}, lsFile;
    EXPECT_TRUE(GetSubTargetList(m_strTree, lsDir, lsFile));
    EXPECT_THAT(lsDir, testing::ElementsAre("before", "a"));
    EXPECT_THAT(lsFile, testing::UnorderedElementsAre("file", "link"));

    EXPECT_FALSE(GetSubTargetList(m_dir / "missing", lsDir, lsFile));
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree), EIO).From(4);
    EXPECT_FALSE(GetSubTargetList(m_strTree, lsDir, lsFile));
}

TEST_F(DirectoryTreeTest, MakeFullPathMakesWhatEndsBeforeASeparatorAndOpensUpNothingElse) {
    fs::permissions(m_strTree, fs::perms{0750});
    const mode_t nBefore = ::umask(077);
    EXPECT_TRUE(MakeFullPath((m_strTree + "/x//y/z").c_str()));
    ::umask(nBefore);
    EXPECT_FALSE(Exists(m_strTree + "/x/y/z"));
    EXPECT_EQ(fs::status(m_strTree).permissions(), fs::perms{0750}) << "it was there";
    EXPECT_EQ(fs::status(m_strTree + "/x").permissions(), fs::perms{0777});
    EXPECT_EQ(fs::status(m_strTree + "/x/y").permissions(), fs::perms{0777});
    EXPECT_TRUE(MakeFullPath("/"));
    EXPECT_TRUE(MakeFullPath("relative"));
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
    for (const char* pName : {"missing", ".", "..", "", "a/file"}) {
        EXPECT_FALSE(GetFolderAttribute(m_strTree, pName, stInfo)) << pName;
    }
}

TEST(PathTextTest, Slashes) {
    for (const auto& [pGiven, pExpected] :
         {std::pair{"a\\b\\c", "a/b/c/"}, std::pair{"/a/", "/a/"}, std::pair{"\\", "/"}}) {
        char szPath[16];
        ReplaceBlackSlash(std::strcpy(szPath, pGiven));
        EXPECT_STREQ(szPath, pExpected);
    }
    EXPECT_EQ(WithoutTrailingSlashes("//a/b//"), "//a/b");
    EXPECT_EQ(WithoutTrailingSlashes("/"), "");
}
