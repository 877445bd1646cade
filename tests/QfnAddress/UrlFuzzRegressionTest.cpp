// The url fuzz target's kept inputs: those that broke, or would have broken, factoryFromURL's round
// trip (from its findings and from review), and its seeds. Each that reads as an address prints as a
// URL that reads back as an equal address, and nothing leaks.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "QfnAddress/AddressFixture.h"
#include "QfnObject/Object.h"
#include "support/LogCapture.h"

using UrlFuzzRegression = QfnTest::AddressFixture;

TEST_F(UrlFuzzRegression, EachFoundInputAndSeedRoundTrips)
{
    const auto here = std::filesystem::path(__FILE__).parent_path();
    const uint64_t before = Qfn::Object::getObjectCount();
    int inputs = 0;
    QfnTest::LogCapture quiet(0);
    for (const char* folder : {"url-fuzz-regressions", "url-corpus"}) {
        for (const auto& entry : std::filesystem::directory_iterator(here / folder)) {
            ++inputs;
            std::ifstream file(entry.path(), std::ios::binary);
            std::ostringstream text;
            text << file.rdbuf();
            EXPECT_EQ(QfnTest::checkUrlRoundTrip(text.str()), "") << entry.path().filename();
        }
    }
    EXPECT_GE(inputs, 10);
    EXPECT_EQ(Qfn::Object::getObjectCount(), before);
}
