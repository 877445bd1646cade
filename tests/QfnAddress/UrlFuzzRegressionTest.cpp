// URLs that broke, or would have broken, factoryFromURL's round trip, from the fuzzer's findings and
// from review: each that reads as an address prints as a URL that reads back as an equal address.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "QfnAddress/AddressFixture.h"
#include "QfnObject/Object.h"
#include "support/LogCapture.h"

using UrlFuzzRegression = QfnTest::AddressFixture;

TEST_F(UrlFuzzRegression, EachFoundInputRoundTrips)
{
    const auto folder = std::filesystem::path(__FILE__).parent_path() / "url-fuzz-regressions";
    const uint64_t before = Qfn::Object::getObjectCount();
    int inputs = 0;
    QfnTest::LogCapture quiet(0);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++inputs;
        std::ifstream file(entry.path(), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        EXPECT_EQ(QfnTest::checkUrlRoundTrip(text.str()), "") << entry.path().filename();
    }
    EXPECT_GE(inputs, 1);
    EXPECT_EQ(Qfn::Object::getObjectCount(), before);
}
