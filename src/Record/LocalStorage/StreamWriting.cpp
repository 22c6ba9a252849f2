// The hot path: from the host's piece to the channel's file.
//
// Per piece: one lookup, mostly without a lock, one claim, one write, one counter. Nothing is
// allocated, formatted or copied, and no lock is held while the write runs.

#include <cstring>

#include "LocalStorage/CallFailure.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"

bool CLocalStorage::WriteData(char* pCameraID, unsigned int nDataType, char* pBuf,
                              unsigned int nSize, recFileInfo& stRecFileInfo) try {
    if (!pBuf || !pCameraID) {
        // The method's name is misspelt in three texts that people search for.
        return Refuse("[wtb][CLocalStorage::WriteDate] NULL == pBuf || NULL == pCameraID");
    }
    if (!m_bInit) {
        return Refuse("[wtb][CLocalStorage::WriteDate] not initialized, pCameraID [%s]", pCameraID);
    }
    const CChannelClaim claim = m_mapRecordChannel.Claim(GetChannelKey(pCameraID, stRecFileInfo));
    if (!claim) {
        return Refuse("[wtb][CLocalStorage::WriteDate] IsRecordChannelExist fail, strCameraID [%s]",
                      pCameraID);
    }
    return WriteClaimed(claim.Channel(), nDataType, pBuf, nSize);
} catch (const std::exception&) {
    return OutOfMemory("WriteData");
}

CLocalStorage::ChannelEntry* CLocalStorage::FindChannel(const char* pCameraID,
                                                        const recFileInfo& stRecFileInfo) {
    return m_mapRecordChannel.Find(GetChannelKey(pCameraID, stRecFileInfo));
}

bool CLocalStorage::WriteData(ChannelEntry& entry, unsigned int nDataType, const char* pBuf,
                              std::size_t nSize) noexcept try {
    const CChannelClaim claim = m_mapRecordChannel.Claim(entry);
    return WriteClaimed(claim.Channel(), nDataType, pBuf, nSize);
} catch (const std::exception&) {
    return OutOfMemory("WriteData");
}

bool CLocalStorage::WriteClaimed(recordChannel& channel, unsigned int nDataType, const char* pBuf,
                                 std::size_t nSize) {
    constexpr unsigned int STREAM_HEADER = 1;
    if (nDataType != STREAM_HEADER) return WriteStream(channel, pBuf, nSize);
    return WriteHeader(channel, pBuf, static_cast<std::uint32_t>(nSize));
}

// Every header is kept for the files to come. Deliberate: only the first goes into the current file
// and to the analyser; a changed one takes effect with the next file. One that could not be written
// is written when it is repeated, unless the stream has begun without it.
bool CLocalStorage::WriteHeader(recordChannel& channel, const char* pBuf, std::uint32_t nSize) {
    const char* const pCameraID = channel.strCameraID.c_str();
    if (nSize > STREAM_HEAD_SIZE) {
        return Refuse("[wtb][CLocalStorage::WriteData] head too long, nSize [%u], strCameraID [%s]",
                      nSize, pCameraID);
    }
    std::memcpy(channel.byStreamHead, pBuf, nSize);
    channel.nStreamHeadLen = nSize;
    const bool bFileBegun = !channel.bWriteFailed || channel.nWrittenSize > 0;
    if (channel.bHeadSaved && bFileBegun) return true;
    if (m_stStoreInfo.bAnalyze && !channel.hStream &&
        VEXANA_CreateStreamEx(pBuf, nSize, &channel.hStream) != VEXANA_OK) {
        return Refuse(
            "[wtb][CLocalStorage::WriteData] VEXANA_CreateStreamEx fail, strCameraID [%s]",
            pCameraID);
    }
    channel.bHeadSaved = true;
    const bool bWritten = WriteRecord(channel, pBuf, nSize);
    channel.nFrontSize = channel.nWrittenSize;
    if (!bWritten) return false;
    LogText("[wtb][CLocalStorage::WriteData] write head, nWritten [%u], strCameraID [%s]", nSize,
            pCameraID);
    return true;
}

bool CLocalStorage::WriteStream(recordChannel& channel, const char* pBuf, std::size_t nSize) {
    if (m_stStoreInfo.enumStreamType > STREAM_TYPE_RAW) return true;  // ignored
    if (m_stStoreInfo.bAnalyze) return WriteAnalysed(channel, pBuf, nSize);
    if (IsNeedSwitchRecFile(channel, 0)) SwitchRecFile(channel);
    return WriteRecord(channel, pBuf, nSize);
}

bool CLocalStorage::WriteAnalysed(recordChannel& channel, const char* pBuf, std::size_t nSize) {
    if (VEXANA_InputData(channel.hStream, pBuf, nSize) != VEXANA_OK) {  // no header yet, say
        return Refuse("[wtb][CLocalStorage::WriteData] StreamProbeInputData fail, strCameraID [%s]",
                      channel.strCameraID.c_str());
    }
    return WritePackets(channel);
}

std::string CLocalStorage::TakeRest(recordChannel& channel) {
    std::string strRest;
    if (!channel.hStream || VEXANA_Flush(channel.hStream) != VEXANA_OK) return strRest;
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(channel.hStream, stPacket) == VEXANA_OK) {
        if (stPacket.nFrameType == VEXANA_FRAME_I) NoteKeyFrame(channel);
        if (channel.bGotIFrame) strRest.append(stPacket.pData, stPacket.nLength);
    }
    return strRest;
}

// Without memory to go on, what was not taken is lost; but the analyser must take the next piece.
bool CLocalStorage::WritePackets(recordChannel& channel) try {
    return WriteAllPackets(channel);
} catch (const std::exception&) {
    VEXANA_PACKET stLost;
    while (VEXANA_GetOnePacketEx(channel.hStream, stLost) == VEXANA_OK) continue;
    throw;
}

// Packets that lie one behind the other and go to one file are written together. What is pending
// counts as written where a switch is decided, so the files never depend on how the stream was cut.
bool CLocalStorage::WriteAllPackets(recordChannel& channel) {
    bool bWritten = true;
    const char* pRun = nullptr;
    std::size_t nRun = 0;
    const auto WriteRun = [&] {
        if (nRun != 0) bWritten &= WriteRecord(channel, pRun, nRun);
        nRun = 0;
    };
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(channel.hStream, stPacket) == VEXANA_OK) {
        if (stPacket.nFrameType == VEXANA_FRAME_I) {
            if (IsNeedSwitchRecFile(channel, nRun)) {
                WriteRun();
                SwitchRecFile(channel);
            }
            NoteKeyFrame(channel);
        }
        if (!channel.bGotIFrame) continue;
        if (pRun + nRun != stPacket.pData) {
            WriteRun();
            pRun = stPacket.pData;
        }
        nRun += stPacket.nLength;
    }
    WriteRun();
    return bWritten;
}

void CLocalStorage::NoteKeyFrame(recordChannel& channel) {
    if (channel.bGotIFrame) return;
    channel.bGotIFrame = true;
    LogText("[wtb][CLocalStorage::WriteData] first Iframe, strCameraID [%s]",
            channel.strCameraID.c_str());
}

bool CLocalStorage::WriteRecord(recordChannel& channel, const char* pBuf, std::size_t nSize) {
    if (nSize == 0) return true;
    std::size_t nWritten = 0;
    const bool bFailed = !channel.objRecFile.Write(pBuf, nSize, nWritten);
    channel.nWrittenSize.store(channel.nWrittenSize.load(std::memory_order_relaxed) + nWritten,
                               std::memory_order_relaxed);
    if (bFailed) ReportFailedWrite(channel, pBuf, nSize);
    channel.bWriteFailed = bFailed;
    channel.bHasHole |= bFailed;
    return !bFailed;
}

void CLocalStorage::ReportFailedWrite(const recordChannel& channel, const char* pBuf,
                                      std::size_t nSize) {
    const int nError = OSL_GetSystemLastError();
    ReportLoss(channel.strRecFilePath, channel.strCameraID, channel.pUser, nError);
    LogFailedWrite("WriteRecord", channel.strCameraID, pBuf, nSize, nError);
    // The first of a run brings the disk check forward, so that the next may find room.
    if (!channel.bWriteFailed) OSL_SetEvent(m_hDiskCheckEvent);
}

void CLocalStorage::ReportUnsynced(const CSyncedFile& file, void* pUser, int nError) {
    ReportLoss(file.Path(), file.CameraID(), pUser, nError);
    LogText("[wtb][CDiskSync::Sync] sync fail, strRecFilePath[%s], iErr [%d]", file.Path().c_str(),
            nError);
}

void CLocalStorage::ReportFailedClose(const std::string& strRecFilePath,
                                      const std::string& strCameraID, void* pUser, int nError) {
    ReportLoss(strRecFilePath, strCameraID, pUser, nError);
    LogText("[wtb][CLocalStorage::CloseRecFile] OSL_CloseFile fail, strRecFilePath[%s], iErr [%d]",
            strRecFilePath.c_str(), nError);
}

void CLocalStorage::ReportLoss(const std::string& strRecFilePath, const std::string& strCameraID,
                               void* pUser, int nError) {
    t_stCallFailure = {CALL_FAILED_WRITE, nError};
    m_objDisks.NoteFailure(strRecFilePath, nError);
    m_objEvents.SendWriteFail(strCameraID, nError, pUser);
}
