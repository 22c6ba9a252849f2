#include "RecordTree/RecordPath.h"

#include "RecordTree/Names.h"

CChannelFolder::CChannelFolder(const dayFolder& stDay, std::string_view strChannel)
    : m_strPath(stDay.Path().append("/").append(strChannel)), m_nRecDir(stDay.strRecDir.size()) {
    indexLevel2Body stChannel;
    if (ConvertStrChannelToIndexLevel2Body(strChannel, stChannel)) {
        m_stEntry = recordEntry{{stDay.stDate}, stChannel, {}};
    }
}

CChannelFolder::CChannelFolder(const dayFolder& stDay, const indexLevel2Body& stChannel)
    : m_strPath(stDay.Path().append("/").append(GetDirName(stChannel))),
      m_nRecDir(stDay.strRecDir.size()),
      m_stEntry(recordEntry{{stDay.stDate}, stChannel, {}}) {}

recordPath CChannelFolder::File(std::string_view strName) const {
    recordPath stPath;
    stPath.strPath.reserve(m_strPath.size() + 1 + strName.size());
    stPath.strPath.append(m_strPath).append("/").append(strName);
    stPath.nRecDir = m_nRecDir;
    stPath.nFolder = m_strPath.size();
    return stPath;
}

recordPath CChannelFolder::Recording(const indexLevel3Body& stFile) const {
    char szName[REC_FILE_NAME_BUFFER];
    recordPath stPath = File({szName, FormatRecFileName(stFile, szName)});
    stPath.stEntry = m_stEntry;
    if (stPath.stEntry) stPath.stEntry->stFile = stFile;
    return stPath;
}
