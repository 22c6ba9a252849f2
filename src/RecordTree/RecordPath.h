// Where a file of a record directory lies: its path, beside what the names in it say.
//
// A path is made once, where its parts are known, and travels with them: nobody cuts a text to
// learn what was put into it.

#ifndef LOCALSTORAGE_RECORDTREE_RECORDPATH_H
#define LOCALSTORAGE_RECORDTREE_RECORDPATH_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "RecordTree/IndexRecords.h"

/// A recording as an index keeps it.
struct recordEntry {
    indexLevel1Body stDay;
    indexLevel2Body stChannel;
    indexLevel3Body stFile;
};

/// A recording or a picture. Directories have no "/" at their end.
struct recordPath {
    std::string strPath;
    std::size_t nRecDir = 0;  ///< length of the record directory, with which the path begins
    std::size_t nFolder = 0;  ///< length of the channel's folder, likewise
    /// None for what no index holds: the client layout, pictures, a channel that is not storable.
    std::optional<recordEntry> stEntry;

    std::string_view RecDir() const { return std::string_view(strPath).substr(0, nRecDir); }
    std::string_view Folder() const { return std::string_view(strPath).substr(0, nFolder); }
};

/// A day's folder.
struct dayFolder {
    std::string strRecDir;  ///< no "/" at its end
    std::string strTree;    ///< name of the tree in it
    std::string strDay;     ///< name of the day
    dateInfo stDate;        ///< which it is; the client layout takes any name for a day's

    std::string Tree() const { return strRecDir + "/" + strTree; }
    std::string Path() const { return Tree() + "/" + strDay; }
};

/// A channel's folder, which makes the paths of its files.
class CChannelFolder {
public:
    CChannelFolder(const dayFolder& stDay, std::string_view strChannel);
    CChannelFolder(const dayFolder& stDay, const indexLevel2Body& stChannel);

    const std::string& Path() const { return m_strPath; }

    /// A picture, or a recording of the client layout.
    recordPath File(std::string_view strName) const;
    /// A recording of the remote-backup layout.
    recordPath Recording(const indexLevel3Body& stFile) const;

private:
    std::string m_strPath;
    std::size_t m_nRecDir;
    std::optional<recordEntry> m_stEntry;  // without a file; none when no index holds the channel
};

#endif  // LOCALSTORAGE_RECORDTREE_RECORDPATH_H
