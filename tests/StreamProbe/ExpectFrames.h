// A stream of parts, and how it must be divided.

#ifndef LOCALSTORAGE_TESTS_STREAMPROBE_EXPECTFRAMES_H
#define LOCALSTORAGE_TESTS_STREAMPROBE_EXPECTFRAMES_H

#include <gtest/gtest.h>

#include "Streams.h"

/// Fails the test unless the parts, strung together, are divided so however the stream is cut.
inline void ExpectFrames(const char* szName, const std::vector<Part>& vecPart) {
    SCOPED_TRACE(szName);
    std::string strStream;
    StreamMarks vecMark;
    for (const Part& stPart : vecPart) {
        if (stPart.nType != MORE) vecMark.push_back({strStream.size(), stPart.nType});
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(Analyse(strStream).vecMark, vecMark);
    EXPECT_EQ(DifferenceWhenCut(strStream), "");
}

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_EXPECTFRAMES_H
