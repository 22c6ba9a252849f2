// Directories that are not in order: what check tells; and what the deleting commands, repair and
// prune, take away and leave alone.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>

#include "RunTool.h"

namespace {

using Names = std::set<std::string>;

const std::string FOLDER = "disk/RecordFile", CHANNEL = FOLDER + "/20240305/cam01/";

/// Links that lead nowhere stand, too.
bool Stands(const std::string& strPath) {
    return fs::exists(fs::symlink_status(strPath));
}

Names Findings() {
    Names setKinds;
    for (const json& js : Tool("check --dir disk --json").Json()) {
        if (js["kind"] == "finding") setKinds.insert(js["finding"]);
    }
    return setKinds;
}

std::size_t CountFound() {
    return Tool("query --dir disk --from 2024-03-04 --json").Json().size();
}

class ToolDamage : public CToolTest {
protected:
    ToolDamage() {
        for (const char* pStart :
             {"2024-03-04 08:00:00", "2024-03-05 08:00:00", "2024-03-05 09:00:00"}) {
            Import("disk", pStart);
        }
    }
};

TEST_F(ToolDamage, CheckNamesEveryKindOfDamageAndChangesNothing) {
    PutFile(CHANNEL + "notes.txt", "foreign");
    fs::rename(CHANNEL + "20240305080000_20240305080006_1.mp4",
               CHANNEL + "20240305100000_20240305100006_1.mp4");
    PutFile(FOLDER + "/index.dirty");
    const auto setBefore = Tree(".");
    EXPECT_EQ(Findings(), (Names{"foreign", "gone", "not-up-to-date", "unlisted"}));
    ExpectEnd(4, "check --dir disk");
    fs::resize_file(CHANNEL + "index03.bin", 60);
    EXPECT_EQ(Findings(), (Names{"damaged", "foreign", "not-up-to-date"}));
    EXPECT_EQ(CountFound(), 3u) << "queries find what the index has lost";
    EXPECT_EQ(Tree("."), setBefore);
    PutFile(FOLDER + "/20240306/cam01", "a file named like the camera");
    ExpectEnd(0, "query --dir disk --from 2024-03-04 --camera cam01");
}

// A host finds 1,024 that begin in one second.
TEST_F(ToolDamage, CheckNamesTheRecordingsThatNoHostFindsSinceTooManyBeginWithThem) {
    for (int n = 0; n < 1025; ++n) {
        const int nEnd = 100000 + n / 60 * 100 + n % 60;
        PutFile(CHANNEL + "20240305100000_20240305" + std::to_string(nEnd) + "_1.mp4");
    }
    ExpectEnd(0, "repair --dir disk --apply");
    EXPECT_EQ(Findings(), Names{"crowded"});
    ExpectEnd(4, "check --dir disk");
}

// Hosts look into one of the two folders alone. Nobody must believe that the recordings in the
// other are gone, nor that they are as safe as those.
TEST_F(ToolDamage, RecordingsBesideTheFolderInUseAreToldAndLeftAlone) {
    Import("disk2", "2024-03-04 10:00:00");
    fs::rename("disk2/RecordFile", "disk/BackupFile");
    const auto vFound = Tool("check --dir disk --json").Json();
    ASSERT_EQ(vFound.size(), 2u);
    EXPECT_EQ(vFound[0]["finding"], "hidden");
    EXPECT_EQ(vFound[0]["path"], "disk/BackupFile");
    EXPECT_EQ(vFound[0]["files"], 1);
    EXPECT_EQ(CountFound(), 4u);
    for (const char* pCommand : {"status --dir disk", "query --dir disk --from 2024-03-04"}) {
        ExpectEnd(0, pCommand, "do not find 1 recording in BackupFile");
    }
    PutFile("disk2/RecordFile", "no folder: its hosts use BackupFile on all disks");
    EXPECT_EQ(Tool("check --dir disk --dir disk2 --json").Json().at(0)["path"], FOLDER);

    ExpectEnd(0, "repair --dir disk --apply");
    EXPECT_EQ(CountFound(), 4u) << "nothing to repair, nothing moved";
    ExpectEnd(0, "prune --dir disk --before 2024-03-05 --apply");
    EXPECT_FALSE(fs::exists("disk/BackupFile")) << "the start behind it moved it";
    EXPECT_TRUE(fs::exists(FOLDER + "/20240304/cam01/20240304100000_20240304100006_1.mp4"));
    EXPECT_EQ(Findings(), Names{});
}

TEST_F(ToolDamage, AFolderThatCannotBeReadIsToldTheRestAnswersAndNothingIsDeleted) {
    const std::string strClosed = FOLDER + "/20240305/cam01",
                      strRange = " --camera cam01 --from 2024-03-04 --to 2024-03-06";
    const std::pair<std::string, const char*> ROWS[] = {
        {"query" + strRange, "20240304080000_20240304080006_1.mp4"},
        {"query --camera cam01 --from 2024-03-05 --to 2024-03-06", ""},
        {"timeline --day 2024-03-05", ""},
        {"status", "\"recordings\":1,"},
        {"check", "\"recordings\":1,"},
        {"export --output clip.mp4" + strRange, "\"recordings\":1,"},
        {"keep --into kept" + strRange, "\"files\":1,"},
    };
    const auto setBefore = Tree(".");
    {
        const CClosedFolder closed(strClosed);
        const std::string strTold = strClosed + ": Permission denied";
        for (const auto& [strCommand, pRest] : ROWS) {
            const auto st = Tool(strCommand + " --json --dir disk");
            EXPECT_EQ(st.nCode, 1) << strCommand;
            EXPECT_THAT(st.strOut, testing::HasSubstr(pRest)) << strCommand;
            EXPECT_NE(st.strErr.find(strTold), std::string::npos) << strCommand << st.strErr;
            EXPECT_EQ(st.strErr.find(strTold), st.strErr.rfind(strTold)) << "once";
        }
        EXPECT_EQ(Findings(), Names{"unreadable"}) << "nothing else is said of it";
        for (const char* pCommand :
             {"prune --before today", "prune --keep-free 99999999", "repair"}) {
            ExpectEnd(1, std::string(pCommand) + " --apply --dir disk", strTold);
        }
    }
    fs::remove_all("kept");
    fs::remove("clip.mp4");
    EXPECT_EQ(Tree("."), setBefore);
}

TEST_F(ToolDamage, RepairRemovesWhatIsForeignAndNothingElse) {
    const struct {
        const char* pPath;
        bool bStays;
        const char* pLink = nullptr;  // where it leads, when it is one
    } ROWS[] = {
        {"RecordFile/notes", false},
        {"RecordFile/20240305/cam01/folder/inner", false},
        {"RecordFile/20240305/cam01/link", false, "../../../outside"},
        {"RecordFile/20240306/index02.bin", false, "nowhere"},
        {"RecordFile/20240305/cam01/20240305080000_20240305080006_2.mp4", true},  // a twin
        {"RecordFile/20240307/cam02/20240307080000_20240307090000_8.mp4", true},  // unlisted
        {"RecordFile/20240399/cam02/20240399080000_20240399090000_1.mp4", true},  // no such day
        {"outside/file", true},
        {"ImageFile/20240305/cam01/notes", true},
    };
    fs::current_path("disk");
    for (const auto& row : ROWS) {
        PutFile(row.pPath, "x");
        if (!row.pLink) continue;
        fs::remove(row.pPath);
        fs::create_symlink(row.pLink, row.pPath);
    }
    fs::current_path("..");
    const auto setBefore = Tree(".");
    ExpectEnd(0, "repair --dir disk");
    EXPECT_EQ(Tree("."), setBefore) << "only told";
    ExpectEnd(0, "repair --dir disk --apply --yes");
    for (const auto& row : ROWS) {
        EXPECT_EQ(Stands(std::string("disk/") + row.pPath), row.bStays) << row.pPath;
    }
    EXPECT_EQ(Findings(), Names{"twin"});
    EXPECT_EQ(CountFound(), 6u);
}

TEST_F(ToolDamage, RepairKeepsElsewhereWhatItRemoves) {
    PutFile(FOLDER + "/folder/inner/file", "kept");
    const auto setBefore = Tree(".");
    ExpectEnd(2, "repair --dir disk --apply --keep-removed disk/RecordFile/kept");
    EXPECT_EQ(Tree("."), setBefore);
    PutFile("kept/RecordFile/folder", "in the way");
    ExpectEnd(0, "repair --dir disk --apply --keep-removed kept");
    EXPECT_EQ(GetFile("kept/RecordFile/folder"), "in the way");
    EXPECT_EQ(GetFile("kept/RecordFile/folder.1/inner/file"), "kept");
    EXPECT_EQ(Findings(), Names{});
}

TEST_F(ToolDamage, RepairRefusesToRemoveMuchUnlessTold) {
    const auto PutSmall = [](int nFiles) {
        for (; nFiles > 0; --nFiles) PutFile(CHANNEL + "small" + std::to_string(nFiles), "x");
    };
    const std::string strApply = "repair --dir disk --apply";
    const std::pair<const char*, std::string> ROWS[] = {
        {"big", std::string((1 << 20) + 1, 'x')}, {"20240305_120000.mp4", "of the other layout"}};
    for (const auto& [pName, strContent] : ROWS) {
        PutFile(CHANNEL + pName, strContent);
        ExpectEnd(1, strApply);
        EXPECT_TRUE(fs::remove(CHANNEL + pName));
    }
    PutSmall(4);
    ExpectEnd(1, strApply);  // four of seven
    fs::remove(CHANNEL + "small4");
    ExpectEnd(0, strApply);  // three of six is not more than half
    PutSmall(4);
    ExpectEnd(0, strApply + " --yes");
}

TEST_F(ToolDamage, WhereADirectoryIsInUseOrNotInOrderNothingIsRepairedNorPruned) {
    Import("used", "2024-03-04 10:00:00");
    PutFile("used/RecordFile/notes", "x");
    PutFile("used/ImageFile/20240304/cam01/20240304_080000.jpg", "x");
    const std::string strPrune = "prune --before today --apply --dir disk --dir used";
    const auto setBefore = Tree(".");
    const int nLock = open("used", O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(flock(nLock, LOCK_EX | LOCK_NB), 0);
    for (const std::string& strCommand :
         {std::string("repair --apply --dir used"), strPrune, strPrune + " --kind pictures"}) {
        ExpectEnd(1, strCommand, "used is in use");
    }
    close(nLock);
    ExpectEnd(1, strPrune, "used: the index is not in order");  // it asks about more than a day
    EXPECT_EQ(Tree("."), setBefore);
    fs::remove("used/RecordFile/notes");
    ExpectEnd(0, strPrune, "4 files deleted");
    EXPECT_EQ(Findings(), Names{});
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
    for (const auto& row : ROWS) {
        if (Stands(row.pPath)) continue;
        PutFile(row.pPath, "x");
        // The client layout's last recording of a camera lasts until its last change.
        fs::last_write_time(row.pPath, fs::file_time_type::clock::now() - 48h);
    }
    const std::string strPrune = "prune --dir disk --dir client --before 2024-03-05";
    const auto setBefore = Tree(".");
    ExpectEnd(0, strPrune);
    ExpectEnd(0, "prune --dir disk --keep-free 1 --apply");  // a MiB is free already
    EXPECT_EQ(Tree("."), setBefore);
    for (const int nStep : {1, 2}) {
        ExpectEnd(0, strPrune + " --apply --kind " + (nStep == 1 ? "recordings" : "pictures"));
        for (const auto& row : ROWS) EXPECT_EQ(Stands(row.pPath), row.nGone > nStep) << row.pPath;
    }
    EXPECT_FALSE(Stands("client/RecordFile/20240304/cam01")) << "an empty folder goes";
    EXPECT_FALSE(Stands("client/RecordFile/index.dirty")) << "there is no index";
    EXPECT_EQ(CountFound(), 2u);
    EXPECT_EQ(Findings(), Names{});
}

// Killed halfway, the next start must know that the index names what is gone.
TEST_F(ToolDamage, TheIndexIsMarkedBeforeAnythingGoes) {
    PutFile(CHANNEL + "notes", "x");
    const struct {
        std::string strFolder, strGoes, strCommand;
    } ROWS[] = {
        {CHANNEL, "notes", "repair --keep-removed kept"},
        {FOLDER + "/20240304/cam01/", "20240304080000_20240304080006_1.mp4",
         "prune --before 2024-03-05"},
    };
    for (const auto& row : ROWS) {
        const int nWatch = inotify_init();
        inotify_add_watch(nWatch, FOLDER.c_str(), IN_CREATE);
        inotify_add_watch(nWatch, row.strFolder.c_str(), IN_DELETE | IN_MOVED_FROM);
        ExpectEnd(0, row.strCommand + " --dir disk --apply");
        EXPECT_FALSE(Stands(row.strFolder + row.strGoes));
        alignas(inotify_event) char aEvents[4096];
        ASSERT_GT(read(nWatch, aEvents, sizeof(aEvents)), 0);
        EXPECT_STREQ(reinterpret_cast<inotify_event*>(aEvents)->name, "index.dirty");
        close(nWatch);
    }
}

}  // namespace
