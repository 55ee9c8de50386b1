#include "base/loggerBase/src/CoException.h"

#include <gtest/gtest.h>

namespace {

TEST(CoException, KeepsTextsUpToTheirBounds) {
    const struct {
        std::size_t given, kept;
    } messages[] = {{0, 0}, {511, 511}, {512, 511}, {600, 511}};
    for (const auto& each : messages) {
        CoException failure(std::string(each.given, 'm').c_str(), 35, "file");
        EXPECT_EQ(std::string(each.kept, 'm'), failure.what());
        failure.setWhat(std::string(each.given, 'n').c_str());
        EXPECT_EQ(std::string(each.kept, 'n'), failure.what());
        EXPECT_EQ(35, failure.line());
    }
    EXPECT_EQ(std::string(127, 'f'), CoException("", 1, std::string(127, 'f').c_str()).file());
    EXPECT_EQ(std::string(127, 'f'), CoException("", 1, std::string(128, 'f').c_str()).file());
}

} // namespace
