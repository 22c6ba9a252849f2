// Directories that are not in order: what check tells; and what the deleting commands, repair and
// prune, take away and leave alone.

#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "RunTool.h"

namespace fs = std::filesystem;

namespace {

using Names = std::set<std::string>;

/// Links that lead nowhere stand, too.
bool Stands(const std::string& strPath) {
    return fs::exists(fs::symlink_status(strPath));
}

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
    toolResult On(const std::string& strCommand, const Arguments& vMore = {}) const {
        return Run(Arguments{strCommand, "--dir", Dir()} + vMore);
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
    PutFile(Folder() + "/20240306/cam01", "a file named like the camera");
    EXPECT_EQ(On("query", {"--from", "2024-03-04", "--camera", "cam01"}).nCode, 0);
}

// Hosts look into one of the two folders alone. Nobody must believe that the recordings in the
// other are gone, nor that they are as safe as those.
TEST_F(ToolDamage, RecordingsBesideTheFolderInUseAreToldAndLeftAlone) {
    Import(Dir("disk2"), "2024-03-04 10:00:00");
    fs::rename(Dir("disk2") + "/RecordFile", Dir() + "/BackupFile");
    const auto vFound = On("check", {"--json"}).Json();
    ASSERT_EQ(vFound.size(), 2u);
    EXPECT_EQ(vFound[0]["finding"], "hidden");
    EXPECT_EQ(vFound[0]["path"], Dir() + "/BackupFile");
    EXPECT_EQ(vFound[0]["files"], 1);
    EXPECT_EQ(CountFound(), 4u);
    for (const Arguments& vCommand : {Arguments{"status"}, {"query", "--from", "2024-03-04"}}) {
        const toolResult st = Run(vCommand + Arguments{"--dir", Dir()});
        EXPECT_NE(st.strErr.find("do not find 1 recording in BackupFile"), std::string::npos);
    }
    PutFile(Dir("disk2") + "/RecordFile", "no folder: its hosts use BackupFile on all disks");
    EXPECT_EQ(On("check", {"--dir", Dir("disk2"), "--json"}).Json()[0]["path"], Folder());

    EXPECT_EQ(On("repair", {"--apply"}).nCode, 0);
    EXPECT_EQ(CountFound(), 4u) << "nothing to repair, nothing moved";
    EXPECT_EQ(On("prune", {"--before", "2024-03-05", "--apply"}).nCode, 0);
    EXPECT_FALSE(fs::exists(Dir() + "/BackupFile")) << "the start behind it moved it";
    EXPECT_TRUE(fs::exists(Folder() + "/20240304/cam01/20240304100000_20240304100006_1.mp4"));
    EXPECT_EQ(Findings(), Names{});
}

TEST_F(ToolDamage, RepairRemovesWhatIsForeignAndNothingElse) {
    const struct {
        const char* pPath;
        bool bStays;
        const char* pLink = nullptr;  // where it leads, when it is one
    } ROWS[] = {
        {"RecordFile/notes", false},
        {"RecordFile/2024-03-05/cam01/20240305080000_20240305080006_1.mp4", false},
        {"RecordFile/20240305/notes", false},
        {"RecordFile/20240305/cam_01_2/20240305080000_20240305080006_1.mp4", false},
        {"RecordFile/20240305/cam01/folder/inner", false},
        {"RecordFile/20240305/cam01/20240305_080000.mp4", false},  // of the other layout
        {"RecordFile/20240305/cam01/link", false, "../../../outside"},
        {"RecordFile/20240306/index02.bin", false, "nowhere"},
        {"RecordFile/20240305/cam01/20240305080000_20240305080006_2.mp4", true},  // a twin
        {"RecordFile/20240307/cam02/20240307080000_20240307090000_8.mp4", true},  // unlisted
        {"RecordFile/20240399/cam02/20240399080000_20240399090000_1.mp4", true},  // no such day
        {"outside/file", true},
        {"ImageFile/20240305/cam01/notes", true},
    };
    for (const auto& st : ROWS) {
        const std::string strPath = Dir() + "/" + st.pPath;
        PutFile(strPath, "x");
        if (!st.pLink) continue;
        fs::remove(strPath);
        fs::create_symlink(st.pLink, strPath);
    }
    const auto setBefore = Tree();
    EXPECT_EQ(On("repair").nCode, 0);
    EXPECT_EQ(Tree(), setBefore) << "only told";
    EXPECT_EQ(On("repair", {"--apply", "--yes"}).nCode, 0);
    for (const auto& st : ROWS) EXPECT_EQ(Stands(Dir() + "/" + st.pPath), st.bStays) << st.pPath;
    EXPECT_EQ(Findings(), Names{"twin"});
    EXPECT_EQ(CountFound(), 6u);
}

TEST_F(ToolDamage, RepairKeepsElsewhereWhatItRemoves) {
    PutFile(Folder() + "/folder/inner/file", "kept");
    const auto setBefore = Tree();
    EXPECT_EQ(On("repair", {"--apply", "--keep-removed", Folder() + "/kept"}).nCode, 2);
    EXPECT_EQ(Tree(), setBefore);
    const std::string strKept = Dir("kept") + "/RecordFile";
    PutFile(strKept + "/folder", "in the way");
    EXPECT_EQ(On("repair", {"--apply", "--keep-removed", Dir("kept")}).nCode, 0);
    EXPECT_EQ(GetFile(strKept + "/folder"), "in the way");
    EXPECT_EQ(GetFile(strKept + "/folder.1/inner/file"), "kept");
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
    PutFile(Dir() + "/ImageFile/20240304/cam01/20240304_080000.jpg", "x");
    const auto setBefore = Tree();
    const Arguments vPrune = {"--before", "today", "--apply"};
    const int nLock = open(Dir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(nLock, LOCK_EX | LOCK_NB), 0);
    for (const toolResult& st : {On("repair", {"--apply"}), On("prune", vPrune),
                                 On("prune", vPrune + Arguments{"--kind", "pictures"})}) {
        EXPECT_EQ(st.nCode, 1);
        EXPECT_NE(st.strErr.find("is in use"), std::string::npos) << st.strErr;
    }
    close(nLock);
    EXPECT_EQ(On("prune", vPrune).nCode, 1) << "it would take away what a repair asks about";
    EXPECT_EQ(Tree(), setBefore);
}

// Whole days go, with the index's files and nothing that is not the tool's to delete.
TEST_F(ToolDamage, PruneDeletesRecordingsOrPicturesOfEarlierDays) {
    const struct {
        const char* pPath;
        int nGone;  // 1: with the recordings, 2: with the pictures, 3: never
    } ROWS[] = {
        {"disk/RecordFile/20240304", 1},
        {"disk/RecordFile/20240305/cam01/20240305080000_20240305080006_1.mp4", 3},
        {"disk/ImageFile/20240304/cam01/20240304_080000.jpg", 2},
        {"disk/ImageFile/20240304/cam02/notes", 3},
        {"disk/ImageFile/20240305/cam01/20240305_080000.jpg", 3},
        {"client/RecordFile/20240304/cam01/20240304_080000.mp4", 1},
        {"client/RecordFile/20240304/cam02/20240304_080000.mp4", 1},
        {"client/RecordFile/20240304/cam02/notes", 3},
        {"client/RecordFile/20240305/cam01/20240305_080000.mp4", 3},
        {"client/ImageFile/20240304/cam01/20240304_080000.jpg", 2},
    };
    for (const auto& st : ROWS) {
        if (Stands(m_tmp / st.pPath)) continue;
        PutFile(m_tmp / st.pPath, "x");
        // The client layout's last recording of a camera lasts until its last change.
        fs::last_write_time(m_tmp / st.pPath,
                            fs::file_time_type::clock::now() - std::chrono::hours(48));
    }
    PutFile(Dir("client") + "/RecordFile/20240304/cam03/20240304_080000.mp4", "until today");
    const Arguments vPrune = {"--dir", Dir("client"), "--before", "2024-03-05"};
    const auto setBefore = Tree();
    EXPECT_EQ(On("prune", vPrune).nCode, 0);
    EXPECT_EQ(On("prune", {"--keep-free", "1", "--apply"}).nCode, 0) << "a MiB is free already";
    EXPECT_EQ(Tree(), setBefore);
    for (const int nStep : {1, 2}) {
        const Arguments vKind = {"--kind", nStep == 1 ? "recordings" : "pictures", "--apply"};
        EXPECT_EQ(On("prune", vPrune + vKind).nCode, 0);
        for (const auto& st : ROWS) {
            EXPECT_EQ(Stands(m_tmp / st.pPath), st.nGone > nStep) << st.pPath;
        }
    }
    EXPECT_TRUE(Stands(Dir("client") + "/RecordFile/20240304/cam03/20240304_080000.mp4"));
    EXPECT_FALSE(Stands(Dir("client") + "/RecordFile/20240304/cam01")) << "an empty folder goes";
    EXPECT_FALSE(Stands(Dir("client") + "/RecordFile/index.dirty")) << "there is no index";
    EXPECT_EQ(CountFound(), 2u);
    EXPECT_EQ(Findings(), Names{});
}

// Killed halfway, the next start must know that the index names what is gone.
TEST_F(ToolDamage, TheIndexIsMarkedBeforeAnythingGoes) {
    PutFile(Channel() + "/notes", "x");
    const struct {
        std::string strFolder, strGoes, strCommand;
        Arguments vArguments;
    } ROWS[] = {
        {Channel(), "notes", "repair", {"--apply", "--keep-removed", Dir("kept")}},
        {Folder() + "/20240304/cam01",
         "20240304080000_20240304080006_1.mp4",
         "prune",
         {"--before", "2024-03-05", "--apply"}},
    };
    for (const auto& st : ROWS) {
        const int nWatch = inotify_init();
        inotify_add_watch(nWatch, Folder().c_str(), IN_CREATE);
        inotify_add_watch(nWatch, st.strFolder.c_str(), IN_DELETE | IN_MOVED_FROM);
        EXPECT_EQ(On(st.strCommand, st.vArguments).nCode, 0);
        EXPECT_FALSE(Stands(st.strFolder + "/" + st.strGoes));
        alignas(inotify_event) char aEvents[4096];
        ASSERT_GT(read(nWatch, aEvents, sizeof(aEvents)), 0);
        EXPECT_STREQ(reinterpret_cast<inotify_event*>(aEvents)->name, "index.dirty");
        close(nWatch);
    }
}

}  // namespace
