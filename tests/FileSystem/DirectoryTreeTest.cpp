#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "FileSystem/FileSystem.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

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

TEST_F(DirectoryTreeTest, DeleteLeavesNothingButWhatLinksPointTo) {
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/a/link");
    EXPECT_TRUE(DeleteDirectory(m_strTree + "/"));
    EXPECT_FALSE(fs::exists(m_strTree));

    fs::create_directory_symlink(m_dir / "outside", m_strTree);
    EXPECT_FALSE(DeleteDirectory(m_strTree + "/"));
    EXPECT_TRUE(fs::exists(m_dir / "outside/precious"));
}

TEST_F(DirectoryTreeTest, DeleteGoesOnBehindFailuresAndTells) {
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree + "/a"), EIO).From(5).Times(1);
    EXPECT_FALSE(DeleteDirectory(m_strTree)) << "the walk broke off";
    EXPECT_FALSE(fs::exists(m_strTree + "/a/file"));
    PutFile(m_strTree + "/a/b/file");
    faults.Fail(Op::Unlink, Is(m_strTree + "/a/b/file"), EPERM);
    EXPECT_FALSE(DeleteDirectory(m_strTree));
    EXPECT_FALSE(fs::exists(m_strTree + "/file"));
}

TEST_F(DirectoryTreeTest, MakeFullPathMakesWhatEndsBeforeASeparatorAndOpensUpNothingElse) {
    fs::permissions(m_strTree, fs::perms{0750});
    const mode_t nBefore = ::umask(077);
    EXPECT_TRUE(MakeFullPath((m_strTree + "/x//y/z").c_str()));
    ::umask(nBefore);
    EXPECT_FALSE(fs::exists(m_strTree + "/x/y/z"));
    EXPECT_EQ(fs::status(m_strTree).permissions(), fs::perms{0750}) << "it was there";
    EXPECT_EQ(fs::status(m_strTree + "/x/y").permissions(), fs::perms{0777});
}

TEST_F(DirectoryTreeTest, AnUnreadableFolderIsNotListedAsAShorterOne) {
    std::list<std::string> lsDir, lsFile;
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree), EIO).From(4);
    EXPECT_FALSE(GetSubTargetList(m_strTree, lsDir, lsFile));
}
