// Directories that are not in order: what check tells, what repair and prune do about them.

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <unistd.h>

#include "RunTool.h"

namespace fs = std::filesystem;

namespace {

class ToolDamage : public CToolTest {
protected:
    ToolDamage() {
        Import(Dir(), "2024-03-04 08:00:00");
        Import(Dir(), "2024-03-05 08:00:00");
        Import(Dir(), "2024-03-05 09:00:00");
    }

    std::string Channel() const { return Dir() + "/RecordFile/20240305/cam01"; }
    std::string Recording() const { return Channel() + "/20240305080000_20240305080006_1.mp4"; }
    std::set<std::string> Findings() const {
        std::set<std::string> setKinds;
        for (const auto& js : Run({"check", "--dir", Dir(), "--json"}).Json()) {
            if (js["kind"] == "finding") setKinds.insert(js["finding"]);
        }
        return setKinds;
    }
    std::set<std::string> Tree() const {
        std::set<std::string> setPaths;
        for (const auto& st : fs::recursive_directory_iterator(Dir())) setPaths.insert(st.path());
        return setPaths;
    }
    toolResult Repair(const Arguments& vecMore = {}) const {
        Arguments vecArguments = {"repair", "--dir", Dir()};
        vecArguments.insert(vecArguments.end(), vecMore.begin(), vecMore.end());
        return Run(vecArguments);
    }
};

TEST_F(ToolDamage, CheckNamesEveryKindOfDamageAndChangesNothing) {
    EXPECT_EQ(Findings(), std::set<std::string>{});
    PutFile(Channel() + "/notes.txt", "foreign");
    fs::rename(Recording(), Channel() + "/20240305100000_20240305100006_1.mp4");
    PutFile(Dir() + "/RecordFile/index.dirty");
    const auto setBefore = Tree();
    EXPECT_EQ(Findings(), (std::set<std::string>{"foreign", "gone", "not-up-to-date", "unlisted"}));
    EXPECT_EQ(Run({"check", "--dir", Dir()}).nCode, 4);
    fs::resize_file(Channel() + "/index03.bin", 60);
    EXPECT_EQ(Findings(), (std::set<std::string>{"damaged", "foreign", "not-up-to-date"}));
    EXPECT_EQ(Tree(), setBefore);
}

TEST_F(ToolDamage, QueriesFindWhatTheIndexLost) {
    fs::resize_file(Dir() + "/RecordFile/index01.bin", 3);
    const Arguments vecQuery = {"query",      "--dir", Dir(),        "--from",
                                "2024-03-04", "--to",  "2024-03-06", "--json"};
    EXPECT_EQ(Run(vecQuery).Json().size(), 3u);
    fs::remove(Recording());
    EXPECT_EQ(Run(vecQuery).Json().size(), 2u);
}

// Hosts look into BackupFile alone once it is there, on any of their disks. Nobody must believe
// that the recordings in RecordFile are gone, nor that they are as safe as the others.
TEST_F(ToolDamage, RecordingsBesideTheFolderInUseAreToldAndLeftAlone) {
    const std::string strFolder = Dir() + "/RecordFile";
    for (const char* pDisk : {"disk", "disk2"}) {
        fs::create_directories(Dir("disk2"));
        fs::create_directory(Dir(pDisk) + "/BackupFile");
        const auto vecFound =
            Run({"check", "--dir", Dir("disk2"), "--dir", Dir(), "--json"}).Json();
        ASSERT_EQ(vecFound.size(), 3u) << pDisk;
        EXPECT_EQ(vecFound[0]["finding"], "hidden");
        EXPECT_EQ(vecFound[0]["path"], strFolder);
        EXPECT_EQ(vecFound[0]["files"], 3);
        EXPECT_EQ(vecFound[2]["clean"], false);
        fs::remove(Dir(pDisk) + "/BackupFile");
    }
    Import(Dir(), "2024-03-04 09:00:00");
    fs::rename(strFolder, Dir() + "/BackupFile");
    Import(Dir("new"), "2024-03-04 10:00:00");
    fs::rename(Dir("new") + "/RecordFile", strFolder);
    EXPECT_EQ(Findings(), std::set<std::string>{"hidden"});
    const toolResult stQuery = Run({"query", "--dir", Dir(), "--from", "2024-03-04", "--json"});
    EXPECT_EQ(stQuery.Json().size(), 5u);
    EXPECT_NE(stQuery.strErr.find("do not find 1 recording"), std::string::npos) << stQuery.strErr;
    EXPECT_EQ(Repair({"--apply"}).nCode, 0) << "nothing that a repair mends";
    EXPECT_EQ(Run({"prune", "--dir", Dir(), "--before", "2024-03-05", "--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(Dir() + "/BackupFile/20240304"));
    EXPECT_TRUE(fs::exists(strFolder + "/20240304/cam01/20240304100000_20240304100006_1.mp4"));
    EXPECT_EQ(Findings(), std::set<std::string>{"hidden"});
}

TEST_F(ToolDamage, RepairIsDryUntilApplied) {
    PutFile(Channel() + "/notes.txt", "foreign");
    fs::remove(Recording());
    const auto setBefore = Tree();
    EXPECT_EQ(Repair().nCode, 0);
    EXPECT_EQ(Tree(), setBefore);
    EXPECT_EQ(Repair({"--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(Channel() + "/notes.txt"));
    EXPECT_EQ(Run({"check", "--dir", Dir()}).nCode, 0);
    EXPECT_EQ(Repair({"--apply"}).nCode, 0) << "nothing left to do";
}

TEST_F(ToolDamage, RepairRefusesToRemoveMuchUnlessTold) {
    PutFile(Channel() + "/big", std::string((1 << 20) + 1, 'x'));
    EXPECT_EQ(Repair({"--apply"}).nCode, 1);
    fs::remove(Channel() + "/big");
    for (int n = 0; n < 4; ++n) PutFile(Channel() + "/small" + std::to_string(n), "x");
    EXPECT_EQ(Repair({"--apply"}).nCode, 1);
    fs::remove(Channel() + "/small3");
    EXPECT_EQ(Repair({"--apply"}).nCode, 0) << "three of six is not more than half";
}

TEST_F(ToolDamage, RepairNeverTakesRecordingsOfTheOtherLayoutUnasked) {
    PutFile(Channel() + "/20240305_120000.mp4", "x");
    EXPECT_EQ(Repair({"--apply"}).nCode, 1);
    EXPECT_TRUE(fs::exists(Channel() + "/20240305_120000.mp4"));
}

TEST_F(ToolDamage, RepairCanKeepWhatItRemoves) {
    PutFile(Channel() + "/big", std::string((1 << 20) + 1, 'x'));
    PutFile(Dir() + "/RecordFile/folder/inner/file", "kept");
    PutFile(Dir("kept") + "/RecordFile/folder", "in the way");
    const toolResult st = Repair({"--apply", "--yes", "--keep-removed", Dir("kept")});
    ASSERT_EQ(st.nCode, 0) << st.strErr;
    EXPECT_EQ(GetFile(Dir("kept") + "/RecordFile/folder"), "in the way");
    EXPECT_EQ(GetFile(Dir("kept") + "/RecordFile/folder.1/inner/file"), "kept");
    EXPECT_EQ(fs::file_size(Dir("kept") + "/RecordFile/20240305/cam01/big"), (1u << 20) + 1);
    EXPECT_EQ(Run({"check", "--dir", Dir()}).nCode, 0);
    PutFile(Channel() + "/notes.txt", "x");
    EXPECT_EQ(Repair({"--apply", "--keep-removed", Dir() + "/RecordFile/kept"}).nCode, 2);
    EXPECT_TRUE(fs::exists(Channel() + "/notes.txt"));
}

TEST_F(ToolDamage, ADirectoryInUseIsNotRepairedNorPruned) {
    PutFile(Channel() + "/notes.txt", "x");
    const int nLock = open(Dir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(nLock, LOCK_EX | LOCK_NB), 0);
    for (const toolResult& st :
         {Repair({"--apply"}), Run({"prune", "--dir", Dir(), "--before", "today", "--apply"})}) {
        EXPECT_EQ(st.nCode, 1);
        EXPECT_NE(st.strErr.find("is in use"), std::string::npos) << st.strErr;
    }
    close(nLock);
    EXPECT_TRUE(fs::exists(Channel() + "/notes.txt"));
}

TEST_F(ToolDamage, PruneDeletesEarlierDaysWhole) {
    const Arguments vecPrune = {"prune", "--dir", Dir(), "--before", "2024-03-05"};
    const auto setBefore = Tree();
    EXPECT_EQ(Run(vecPrune).nCode, 0);
    EXPECT_EQ(Tree(), setBefore);

    Arguments vecApply = vecPrune;
    vecApply.push_back("--apply");
    EXPECT_EQ(Run(vecApply).nCode, 0);
    EXPECT_FALSE(fs::exists(Dir() + "/RecordFile/20240304"));
    EXPECT_TRUE(fs::exists(Recording()));
    EXPECT_EQ(Run({"check", "--dir", Dir()}).nCode, 0);

    EXPECT_EQ(Run({"prune", "--dir", Dir(), "--keep-free", "1", "--apply"}).nCode, 0);
    EXPECT_TRUE(fs::exists(Recording())) << "one MiB is free already";
}

TEST_F(ToolDamage, PruneRefusesWhatARepairWouldTakeAway) {
    PutFile(Channel() + "/notes.txt", "x");
    const toolResult st = Run({"prune", "--dir", Dir(), "--before", "today", "--apply"});
    EXPECT_EQ(st.nCode, 1);
    EXPECT_NE(st.strErr.find("repair"), std::string::npos) << st.strErr;
    EXPECT_TRUE(fs::exists(Recording()));
}

TEST_F(ToolDamage, PruneKnowsPictures) {
    const std::string strOld = Dir() + "/ImageFile/20240301/cam01/20240301_080000.jpg";
    PutFile(strOld, "x");
    PutFile(Dir() + "/ImageFile/20240306/cam01/20240306_080000.jpg", "x");
    EXPECT_EQ(
        Run({"prune", "--dir", Dir(), "--before", "2024-03-06", "--kind", "pictures", "--apply"})
            .nCode,
        0);
    EXPECT_FALSE(fs::exists(Dir() + "/ImageFile/20240301"));
    EXPECT_TRUE(fs::exists(Dir() + "/ImageFile/20240306/cam01/20240306_080000.jpg"));
    EXPECT_TRUE(fs::exists(Recording()));
}

}  // namespace
