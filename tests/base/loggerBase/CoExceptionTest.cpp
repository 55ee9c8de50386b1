// The exception keeps its texts within bounds.
#include "base/loggerBase/src/CoException.h"

#include <gtest/gtest.h>

namespace {

TEST(CoException, KeepsTextsUpToTheirBounds) {
    for (const std::size_t length : {0U, 127U, 128U, 511U, 512U, 600U}) {
        const std::string text(length, 't');
        CoException failure(text.c_str(), 35, text.c_str());
        EXPECT_EQ(text.substr(0, 511), failure.what());
        EXPECT_EQ(text.substr(0, 127), failure.file());
        failure.setWhat(("m" + text).c_str());
        EXPECT_EQ(("m" + text).substr(0, 511), failure.what());
        EXPECT_EQ(35, failure.line());
    }
}

} // namespace
