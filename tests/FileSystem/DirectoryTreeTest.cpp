#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "FileSystem/FileDeleter.h"
#include "FileSystem/FileSystem.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

namespace {
int g_nAllocationsLeft = -1;  // below zero: all succeed
}

void* operator new(std::size_t nSize) {
    if (g_nAllocationsLeft == 0) throw std::bad_alloc();
    if (g_nAllocationsLeft > 0) --g_nAllocationsLeft;
    return std::malloc(nSize != 0 ? nSize : 1);
}
void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept {
    return g_nAllocationsLeft == 0 ? nullptr : operator new(nSize);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
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

TEST_F(DirectoryTreeTest, AWalkBeginsAtALinkOnlyWhereItIsToldToAndFollowsNoneInside) {
    const std::string strLink = m_dir / "link";
    fs::create_directory_symlink(m_strTree, strLink);
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/inside");
    std::list<std::string> lsDir, lsFile;
    EXPECT_FALSE(GetSubTargetList(strLink + "/", lsDir, lsFile));
    EXPECT_TRUE(GetSubTargetList(strLink + "/", lsDir, lsFile, OSL_LastLink::IsFollowed));
    lsFile.sort();
    EXPECT_EQ(lsDir, std::list<std::string>{"a"});
    EXPECT_EQ(lsFile, (std::list<std::string>{"file", "inside"}));
}

TEST_F(DirectoryTreeTest, NoFailingAllocationLeavesAFolderOpenOrClosesItTwice) {
    const auto OpenFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const std::string strOutside = m_dir / "outside/precious";
    const auto nBefore = OpenFiles();
    for (int nAllowed = 0, nFailures = 1; nFailures > 0; ++nAllowed) {
        nFailures = 0;
        g_nAllocationsLeft = nAllowed;
        try {
            std::list<std::string> lsDir, lsFile;
            nFailures += !GetSubTargetList(m_strTree, lsDir, lsFile);
            CFileDeleter deleter;
            for (const std::string& strPath : {m_strTree + "/file", strOutside})
                deleter.Delete(strPath);
        } catch (const std::bad_alloc&) {
            ++nFailures;
        }
        g_nAllocationsLeft = -1;
        ASSERT_EQ(OpenFiles(), nBefore) << nAllowed;
    }
    EXPECT_FALSE(fs::exists(strOutside));
}

TEST_F(DirectoryTreeTest, AnUnreadableFolderIsNotListedAsAShorterOne) {
    std::list<std::string> lsDir, lsFile;
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree), EIO).From(4);
    EXPECT_FALSE(GetSubTargetList(m_strTree, lsDir, lsFile));
}
