#include "IndexMgr/FileList.h"

void CFileList::Block::Measure() {
    stFirst = objFiles->front().stStartTime;
    stLastEnd = objFiles->front().stEndTime;
    for (const indexLevel3Body& stFile : *objFiles)
        stLastEnd = std::max(stLastEnd, stFile.stEndTime);
}

// The place in front of the first record that does not start before `stStart`.
CFileList::Position CFileList::FirstNotBefore(const fileTimeInfo& stStart) const {
    // Blocks that begin at `stStart` or later come behind the place, except for its own end.
    auto itBlock =
        std::partition_point(m_vBlocks.begin(), m_vBlocks.end(),
                             [&](const Block& block) { return block.stFirst < stStart; });
    if (itBlock == m_vBlocks.begin()) return {0, 0};
    --itBlock;
    const Records& vFiles = *itBlock->objFiles;
    const auto itFile = std::partition_point(
        vFiles.begin(), vFiles.end(),
        [&](const indexLevel3Body& stFile) { return stFile.stStartTime < stStart; });
    return {static_cast<std::size_t>(itBlock - m_vBlocks.begin()),
            static_cast<std::size_t>(itFile - vFiles.begin())};
}

// The record at a place, or null at the end; a place behind a block becomes the next block's first.
const indexLevel3Body* CFileList::At(Position& pos) const {
    if (pos.nBlock < m_vBlocks.size() && pos.nOffset == m_vBlocks[pos.nBlock].objFiles->size()) {
        pos = {pos.nBlock + 1, 0};
    }
    return pos.nBlock < m_vBlocks.size() ? &(*m_vBlocks[pos.nBlock].objFiles)[pos.nOffset]
                                         : nullptr;
}

// True with the place of the file that has these times; false with the place where it would go,
// behind those that start with it.
bool CFileList::Search(const indexLevel3Body& stFile, Position& pos) const {
    pos = FirstNotBefore(stFile.stStartTime);
    for (Position next = pos;; pos = {next.nBlock, ++next.nOffset}) {
        const indexLevel3Body* pFile = At(next);
        if (!pFile || stFile.stStartTime < pFile->stStartTime) return false;
        if (pFile->stEndTime == stFile.stEndTime) {
            pos = next;
            return true;
        }
    }
}

// Makes sure that the block of `pos` can take one more record there; `pos` may move with it.
void CFileList::MakeRoom(Position& pos) {
    if (m_vBlocks.empty()) m_vBlocks.emplace_back();
    if (m_vBlocks[pos.nBlock].objFiles->size() < BLOCK_FILES) return;

    Block& block =
        *m_vBlocks.emplace(m_vBlocks.begin() + static_cast<std::ptrdiff_t>(pos.nBlock) + 1);
    if (pos.nOffset == BLOCK_FILES) {  // recordings come in order of time: full blocks stay full
        pos = {pos.nBlock + 1, 0};
        return;
    }
    Records& vFull = m_vBlocks[pos.nBlock].objFiles.Change();
    const auto itHalf = vFull.begin() + BLOCK_FILES / 2;
    block.objFiles.Change().assign(itHalf, vFull.end());
    vFull.erase(itHalf, vFull.end());
    block.Measure();
    m_vBlocks[pos.nBlock].Measure();
    if (pos.nOffset > BLOCK_FILES / 2) pos = {pos.nBlock + 1, pos.nOffset - BLOCK_FILES / 2};
}

void CFileList::Insert(Position pos, const indexLevel3Body& stFile) {
    MakeRoom(pos);
    Block& block = m_vBlocks[pos.nBlock];
    Records& vFiles = block.objFiles.Change();
    vFiles.insert(vFiles.begin() + static_cast<std::ptrdiff_t>(pos.nOffset), stFile);
    block.stFirst = vFiles.front().stStartTime;
    block.stLastEnd = std::max(block.stLastEnd, stFile.stEndTime);
    ++m_nFiles;
}

bool CFileList::Add(const indexLevel3Body& stFile) {
    Position pos;
    if (Search(stFile, pos)) return false;
    Insert(pos, stFile);
    return true;
}

bool CFileList::Remove(const indexLevel3Body& stFile) {
    Position pos;
    if (!Search(stFile, pos)) return false;
    const auto itBlock = m_vBlocks.begin() + static_cast<std::ptrdiff_t>(pos.nBlock);
    Records& vFiles = itBlock->objFiles.Change();
    const fileTimeInfo stEnd = vFiles[pos.nOffset].stEndTime;
    vFiles.erase(vFiles.begin() + static_cast<std::ptrdiff_t>(pos.nOffset));
    if (vFiles.empty()) {
        m_vBlocks.erase(itBlock);
    } else {
        itBlock->stFirst = vFiles.front().stStartTime;
        if (stEnd == itBlock->stLastEnd) itBlock->Measure();
    }
    --m_nFiles;
    return true;
}

const indexLevel3Body* CFileList::Find(const indexLevel3Body& stFile) const {
    Position pos;
    return Search(stFile, pos) ? At(pos) : nullptr;
}

const indexLevel3Body* CFileList::Last() const {
    return m_vBlocks.empty() ? nullptr : &m_vBlocks.back().objFiles->back();
}

// Appends the longest run that starts behind the last record, ascends and fits the last block (a
// new one when that is full); returns its length.
std::size_t CFileList::AppendRun(const indexLevel3Body* pFiles, std::size_t nFiles) {
    const indexLevel3Body* pLast = Last();
    const bool bNewBlock = !pLast || m_vBlocks.back().objFiles->size() == BLOCK_FILES;
    const std::size_t nRoom =
        bNewBlock ? BLOCK_FILES : BLOCK_FILES - m_vBlocks.back().objFiles->size();
    std::size_t nRun = 0;
    while (nRun < std::min(nFiles, nRoom) && (!pLast || *pLast < pFiles[nRun])) {
        pLast = &pFiles[nRun++];
    }
    if (nRun == 0) return 0;
    Block& block = bNewBlock ? m_vBlocks.emplace_back() : m_vBlocks.back();
    Records& vFiles = block.objFiles.Change();
    vFiles.insert(vFiles.end(), pFiles, pFiles + nRun);
    block.Measure();
    m_nFiles += nRun;
    return nRun;
}

CFileList::Order CFileList::AppendAll(const indexLevel3Body* pFiles, std::size_t nFiles) {
    Order eOrder = Order::Kept;
    for (std::size_t i = 0; i < nFiles;) {
        const std::size_t nRun = AppendRun(pFiles + i, nFiles - i);
        i += nRun;
        if (nRun > 0 || i == nFiles) continue;
        if (pFiles[i] < *Last()) eOrder = Order::Mended;
        if (!Add(pFiles[i++])) return Order::Doubled;
    }
    return eOrder;
}
