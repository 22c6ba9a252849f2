// Directories that are not in order: what check tells, what repair and prune do about them.

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <unistd.h>

#include "RunTool.h"

namespace fs = std::filesystem;

namespace {

using Names = std::set<std::string>;

class ToolDamage : public CToolTest {
protected:
    ToolDamage() {
        Import(Dir(), "2024-03-04 08:00:00");
        Import(Dir(), "2024-03-05 08:00:00");
        Import(Dir(), "2024-03-05 09:00:00");
    }

    std::string Folder() const { return Dir() + "/RecordFile"; }
    std::string Channel() const { return Folder() + "/20240305/cam01"; }
    std::string Recording() const { return Channel() + "/20240305080000_20240305080006_1.mp4"; }
    /// A command on the directory.
    toolResult On(const std::string& strCommand, const Arguments& vecMore = {}) const {
        return Run(Arguments{strCommand, "--dir", Dir()} + vecMore);
    }
    Names Findings() const {
        Names setKinds;
        for (const auto& js : On("check", {"--json"}).Json()) {
            if (js["kind"] == "finding") setKinds.insert(js["finding"]);
        }
        return setKinds;
    }
    std::size_t CountFound() const {
        return On("query", {"--from", "2024-03-04", "--json"}).Json().size();
    }
    Names Tree() const {
        Names setPaths;
        for (const auto& st : fs::recursive_directory_iterator(Dir())) setPaths.insert(st.path());
        return setPaths;
    }
};

TEST_F(ToolDamage, CheckNamesEveryKindOfDamageAndChangesNothing) {
    PutFile(Channel() + "/notes.txt", "foreign");
    fs::rename(Recording(), Channel() + "/20240305100000_20240305100006_1.mp4");
    PutFile(Folder() + "/index.dirty");
    const auto setBefore = Tree();
    EXPECT_EQ(Findings(), (Names{"foreign", "gone", "not-up-to-date", "unlisted"}));
    EXPECT_EQ(On("check").nCode, 4);
    fs::resize_file(Channel() + "/index03.bin", 60);
    EXPECT_EQ(Findings(), (Names{"damaged", "foreign", "not-up-to-date"}));
    EXPECT_EQ(CountFound(), 3u) << "queries find what the index has lost";
    EXPECT_EQ(Tree(), setBefore);
}

// Hosts look into BackupFile alone once it is there, on any of their disks. Nobody must believe
// that the recordings in RecordFile are gone, nor that they are as safe as the others.
TEST_F(ToolDamage, RecordingsBesideTheFolderInUseAreToldAndLeftAlone) {
    fs::create_directories(Dir("disk2") + "/BackupFile");
    const auto vecFound = On("check", {"--dir", Dir("disk2"), "--json"}).Json();
    ASSERT_EQ(vecFound.size(), 3u);
    EXPECT_EQ(vecFound[0]["finding"], "hidden");
    EXPECT_EQ(vecFound[0]["path"], Folder());
    EXPECT_EQ(vecFound[0]["files"], 3);

    fs::rename(Folder(), Dir() + "/BackupFile");
    Import(Dir("new"), "2024-03-04 10:00:00");
    fs::rename(Dir("new") + "/RecordFile", Folder());
    EXPECT_EQ(Findings(), Names{"hidden"});
    EXPECT_EQ(CountFound(), 4u);
    EXPECT_NE(On("status").strErr.find("do not find 1 recording"), std::string::npos);
    EXPECT_EQ(On("repair", {"--apply"}).nCode, 0);
    EXPECT_EQ(On("prune", {"--before", "2024-03-05", "--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(Dir() + "/BackupFile/20240304"));
    EXPECT_TRUE(fs::exists(Folder() + "/20240304/cam01/20240304100000_20240304100006_1.mp4"));
}

TEST_F(ToolDamage, RepairIsDryUntilAppliedAndKeepsWhatItRemoves) {
    PutFile(Folder() + "/folder/inner/file", "kept");
    fs::remove(Recording());
    const auto setBefore = Tree();
    EXPECT_EQ(On("repair").nCode, 0);
    EXPECT_EQ(On("repair", {"--apply", "--keep-removed", Folder() + "/kept"}).nCode, 2);
    EXPECT_EQ(Tree(), setBefore);
    const std::string strKept = Dir("kept") + "/RecordFile";
    PutFile(strKept + "/folder", "in the way");
    EXPECT_EQ(On("repair", {"--apply", "--keep-removed", Dir("kept")}).nCode, 0);
    EXPECT_EQ(GetFile(strKept + "/folder"), "in the way");
    EXPECT_EQ(GetFile(strKept + "/folder.1/inner/file"), "kept");
    EXPECT_FALSE(fs::exists(Folder() + "/folder"));
    EXPECT_EQ(Findings(), Names{});
}

TEST_F(ToolDamage, RepairRefusesToRemoveMuchUnlessTold) {
    const auto Refused = [&](const std::string& strName, const std::string& strContent) {
        PutFile(Channel() + strName, strContent);
        const bool bRefused = On("repair", {"--apply"}).nCode == 1;
        return bRefused && fs::remove(Channel() + strName);
    };
    EXPECT_TRUE(Refused("/big", std::string((1 << 20) + 1, 'x')));
    EXPECT_TRUE(Refused("/20240305_120000.mp4", "of the other layout"));
    for (int n = 0; n < 3; ++n) PutFile(Channel() + "/small" + std::to_string(n), "x");
    EXPECT_TRUE(Refused("/small3", "four of seven"));
    EXPECT_EQ(On("repair", {"--apply"}).nCode, 0) << "three of six is not more than half";
    for (int n = 0; n < 4; ++n) PutFile(Channel() + "/small" + std::to_string(n), "x");
    EXPECT_EQ(On("repair", {"--apply", "--yes"}).nCode, 0);
}

TEST_F(ToolDamage, ADirectoryInUseIsNotRepairedNorPruned) {
    PutFile(Channel() + "/notes.txt", "x");
    const auto setBefore = Tree();
    const Arguments vecPrune = {"--before", "today", "--apply"};
    const int nLock = open(Dir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(nLock, LOCK_EX | LOCK_NB), 0);
    for (const toolResult& st : {On("repair", {"--apply"}), On("prune", vecPrune)}) {
        EXPECT_EQ(st.nCode, 1);
        EXPECT_NE(st.strErr.find("is in use"), std::string::npos) << st.strErr;
    }
    close(nLock);
    EXPECT_EQ(On("prune", vecPrune).nCode, 1) << "it would take away what a repair asks about";
    EXPECT_EQ(Tree(), setBefore);
}

TEST_F(ToolDamage, PruneDeletesEarlierDaysWhole) {
    const auto setBefore = Tree();
    EXPECT_EQ(On("prune", {"--before", "2024-03-05"}).nCode, 0);
    EXPECT_EQ(On("prune", {"--keep-free", "1", "--apply"}).nCode, 0) << "a MiB is free already";
    EXPECT_EQ(Tree(), setBefore);
    const std::string strPictures = Dir() + "/ImageFile";
    PutFile(strPictures + "/20240301/cam01/20240301_080000.jpg", "x");
    PutFile(strPictures + "/20240306/cam01/20240306_080000.jpg", "x");
    EXPECT_EQ(On("prune", {"--before", "2024-03-06", "--kind", "pictures", "--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(strPictures + "/20240301"));
    EXPECT_TRUE(fs::exists(strPictures + "/20240306/cam01/20240306_080000.jpg"));
    EXPECT_EQ(On("prune", {"--before", "2024-03-05", "--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(Folder() + "/20240304"));
    EXPECT_EQ(CountFound(), 2u);
    EXPECT_EQ(Findings(), Names{});
}

}  // namespace
