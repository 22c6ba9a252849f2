#include "RecordTree/FileList.h"

void CFileList::Block::Measure() {
    stFirst = objEntries->front().stStartTime;
    stLastEnd = objEntries->front().stEndTime;
    for (const Entry& entry : *objEntries) stLastEnd = std::max(stLastEnd, entry.stEndTime);
}

// The place in front of the first entry that does not start before `stStart`.
CFileList::Position CFileList::FirstNotBefore(const fileTimeInfo& stStart) const {
    // Blocks that begin at `stStart` or later come behind the place, except for its own end.
    auto itBlock =
        std::partition_point(m_vBlocks.begin(), m_vBlocks.end(),
                             [&](const Block& block) { return block.stFirst < stStart; });
    if (itBlock == m_vBlocks.begin()) return {0, 0};
    --itBlock;
    const Entries& vEntries = *itBlock->objEntries;
    const auto itEntry =
        std::partition_point(vEntries.begin(), vEntries.end(),
                             [&](const Entry& entry) { return entry.stStartTime < stStart; });
    return {static_cast<std::size_t>(itBlock - m_vBlocks.begin()),
            static_cast<std::size_t>(itEntry - vEntries.begin())};
}

// The entry at a place, or null at the end; a place behind a block becomes the next block's first.
const CFileList::Entry* CFileList::At(Position& pos) const {
    if (pos.nBlock < m_vBlocks.size() && pos.nOffset == m_vBlocks[pos.nBlock].objEntries->size()) {
        pos = {pos.nBlock + 1, 0};
    }
    return pos.nBlock < m_vBlocks.size() ? &(*m_vBlocks[pos.nBlock].objEntries)[pos.nOffset]
                                         : nullptr;
}

// True with the place of the file that has these times; false with the place where it would go,
// behind those that start with it. `nTogether` receives how many of these it walked through.
bool CFileList::Search(const indexLevel3Body& stFile, Position& pos, std::size_t& nTogether) const {
    pos = FirstNotBefore(stFile.stStartTime);
    nTogether = 0;
    for (Position next = pos;; pos = {next.nBlock, ++next.nOffset}, ++nTogether) {
        const Entry* pEntry = At(next);
        if (!pEntry || stFile.stStartTime < pEntry->stStartTime) return false;
        if (pEntry->stEndTime == stFile.stEndTime) {
            pos = next;
            return true;
        }
    }
}

// Makes sure that the block of `pos` can take one more entry there; `pos` may move with it.
void CFileList::MakeRoom(Position& pos) {
    if (m_vBlocks.empty()) m_vBlocks.emplace_back();
    if (m_vBlocks[pos.nBlock].objEntries->size() < BLOCK_FILES) return;

    Block& block =
        *m_vBlocks.emplace(m_vBlocks.begin() + static_cast<std::ptrdiff_t>(pos.nBlock) + 1);
    if (pos.nOffset == BLOCK_FILES) {  // recordings come in order of time: full blocks stay full
        pos = {pos.nBlock + 1, 0};
        return;
    }
    Entries& vFull = m_vBlocks[pos.nBlock].objEntries.Change();
    const auto itHalf = vFull.begin() + BLOCK_FILES / 2;
    block.objEntries.Change().assign(itHalf, vFull.end());
    vFull.erase(itHalf, vFull.end());
    block.Measure();
    m_vBlocks[pos.nBlock].Measure();
    if (pos.nOffset > BLOCK_FILES / 2) pos = {pos.nBlock + 1, pos.nOffset - BLOCK_FILES / 2};
}

void CFileList::Insert(Position pos, const indexLevel3Body& stFile) {
    MakeRoom(pos);
    Block& block = m_vBlocks[pos.nBlock];
    Entries& vEntries = block.objEntries.Change();
    vEntries.insert(vEntries.begin() + static_cast<std::ptrdiff_t>(pos.nOffset), stFile);
    block.stFirst = vEntries.front().stStartTime;
    block.stLastEnd = std::max(block.stLastEnd, stFile.stEndTime);
    ++m_nFiles;
}

bool CFileList::Add(const indexLevel3Body& stFile) {
    Position pos;
    std::size_t nTogether = 0;
    if (Search(stFile, pos, nTogether) || nTogether >= MAX_TOGETHER) return false;
    Insert(pos, stFile);
    return true;
}

bool CFileList::Remove(const indexLevel3Body& stFile) {
    Position pos;
    std::size_t nTogether = 0;
    if (!Search(stFile, pos, nTogether)) return false;
    const auto itBlock = m_vBlocks.begin() + static_cast<std::ptrdiff_t>(pos.nBlock);
    Entries& vEntries = itBlock->objEntries.Change();
    const fileTimeInfo stEnd = vEntries[pos.nOffset].stEndTime;
    vEntries.erase(vEntries.begin() + static_cast<std::ptrdiff_t>(pos.nOffset));
    if (vEntries.empty()) {
        m_vBlocks.erase(itBlock);
    } else {
        itBlock->stFirst = vEntries.front().stStartTime;
        if (stEnd == itBlock->stLastEnd) itBlock->Measure();
    }
    --m_nFiles;
    return true;
}

bool CFileList::Find(indexLevel3Body& stFile) const {
    Position pos;
    std::size_t nTogether = 0;
    if (!Search(stFile, pos, nTogether)) return false;
    stFile = At(pos)->Body();
    return true;
}

const CFileList::Entry& CFileList::Last() const {
    return m_vBlocks.back().objEntries->back();
}

// Appends as many files as fit the last block (a new one when that is full), if all of them have
// ordinary times and ascend from the last entry on. Returns how many it appended.
std::size_t CFileList::AppendRun(const indexLevel3Body* pFiles, std::size_t nFiles) {
    const bool bNewBlock = m_vBlocks.empty() || m_vBlocks.back().objEntries->size() == BLOCK_FILES;
    const std::size_t nUsed = bNewBlock ? 0 : m_vBlocks.back().objEntries->size();
    const std::size_t nRun = std::min(nFiles, BLOCK_FILES - nUsed);
    std::uint64_t nLastStart = m_vBlocks.empty() ? 0 : Last().stStartTime.Number();
    std::uint64_t nLastEnd = 0, nTooLarge = 0;
    std::size_t nLatest = 0;
    bool bAscends = m_vBlocks.empty() || Last().stStartTime.IsPlain();
    for (std::size_t i = 0; i < nRun; ++i) {  // no early exit: a start reads millions of these
        const std::uint64_t nStart = pFiles[i].stStartTime.Number();
        const std::uint64_t nEnd = pFiles[i].stEndTime.Number();
        nTooLarge |= pFiles[i].stStartTime.TooLarge() | pFiles[i].stEndTime.TooLarge();
        bAscends &= nLastStart < nStart;
        nLastStart = nStart;
        if (nLastEnd < nEnd) nLatest = i;
        nLastEnd = std::max(nLastEnd, nEnd);
    }
    // The years are largest in the last start and the latest end.
    if (!bAscends || nTooLarge != 0 || !pFiles[nRun - 1].stStartTime.IsPlain() ||
        !pFiles[nLatest].stEndTime.IsPlain()) {
        return 0;
    }
    Block& block = bNewBlock ? m_vBlocks.emplace_back() : m_vBlocks.back();
    Entries& vEntries = block.objEntries.Change();
    vEntries.insert(vEntries.end(), pFiles, pFiles + nRun);
    block.stFirst = vEntries.front().stStartTime;
    block.stLastEnd = std::max(block.stLastEnd, pFiles[nLatest].stEndTime);
    m_nFiles += nRun;
    return nRun;
}

CFileList::Order CFileList::AppendAll(const indexLevel3Body* pFiles, std::size_t nFiles) {
    Order eOrder = Order::Kept;
    m_vBlocks.reserve(m_vBlocks.size() + (nFiles + BLOCK_FILES - 1) / BLOCK_FILES);
    for (std::size_t i = 0; i < nFiles;) {
        const std::size_t nRun = AppendRun(pFiles + i, nFiles - i);
        i += nRun;
        if (nRun > 0) continue;
        if (m_nFiles > 0 && pFiles[i].stStartTime < Last().stStartTime) eOrder = Order::Mended;
        if (!Add(pFiles[i++])) return Order::Doubled;
    }
    return eOrder;
}
