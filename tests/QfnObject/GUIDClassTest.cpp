#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QfnLogger/Log.h"
#include "QfnObject/GUIDClass.h"
#include "support/LogCapture.h"

using Qfn::GUIDClass;
using Qfn::GUIDStringFormat;
using Qfn::TRawGUID;
using ::testing::EndsWith;

namespace {

const TRawGUID kSampleRaw{0xA000000000000000ULL, 0x0123456789ABCDEFULL};
const std::string kSampleCompact = "v38qJeWRjEAAAAAAAAAAgC";

// Error lines are captured for the duration of a test.
class GUIDLogTest : public ::testing::Test {
protected:
    const std::vector<std::string>& capturedLines() const { return fCapture.lines(); }
    void clearCapturedLines() { fCapture.clear(); }
    QfnTest::LogCapture fCapture{1};
};

}  // namespace

TEST(GUIDInterning, AllWrittenFormsAndTheRawValueGiveOnePointer) {
    GUIDClass* guid = GUIDClass::factory(kSampleRaw);
    ASSERT_NE(guid, nullptr);
    EXPECT_EQ(GUIDClass::factory(std::string("A0000000-0000-0000-0123-456789ABCDEF")), guid);
    EXPECT_EQ(GUIDClass::factory(std::string("A0000000000000000123456789ABCDEF")), guid);
    EXPECT_EQ(GUIDClass::factory(std::string("{a0000000-0000-0000-0123-456789abcdef}")), guid);
    EXPECT_EQ(GUIDClass::factory(kSampleCompact), guid);
    EXPECT_EQ(GUIDClass::factory(*guid), guid);
    EXPECT_EQ(guid->get().high, kSampleRaw.high);
    EXPECT_EQ(guid->get().low, kSampleRaw.low);
    EXPECT_NE(GUIDClass::factory(TRawGUID{kSampleRaw.high, kSampleRaw.low + 1}), guid);
}

TEST(GUIDCompact, RoundTripsWithTheLowestBitsFirst) {
    GUIDClass* guid = GUIDClass::factory(kSampleRaw);
    EXPECT_EQ(guid->toCompactStr(), kSampleCompact);
    EXPECT_EQ(GUIDClass::factory22(guid->toString(GUIDStringFormat::COMPACT)), guid);

    // 22 characters carry 132 bits: the top 4 fall off, and the last character keeps only two.
    GUIDClass* allOnes = GUIDClass::factory(TRawGUID{~0ULL, ~0ULL});
    EXPECT_EQ(GUIDClass::factory22(std::string(22, '/')), allOnes);
    EXPECT_EQ(allOnes->toCompactStr(), std::string(21, '/') + "D");

    GUIDClass* withSymbols = GUIDClass::factory22("v38qJeWRjE+/AAAAAAAAgC");
    ASSERT_NE(withSymbols, nullptr);
    EXPECT_EQ(withSymbols->toCompactStr(), "v38qJeWRjE+/AAAAAAAAgC");
}

TEST(GUIDFormats, AllFiveFormatsAndTheCache) {
    GUIDClass* guid = GUIDClass::factory(kSampleRaw);
    EXPECT_EQ(guid->toString(GUIDStringFormat::LOWERCASE), "a0000000000000000123456789abcdef");
    EXPECT_EQ(guid->toString(GUIDStringFormat::UPPERCASE), "A0000000000000000123456789ABCDEF");
    EXPECT_EQ(guid->toString(GUIDStringFormat::LOWERCASE_DASHED), "a0000000-0000-0000-0123-456789abcdef");
    EXPECT_EQ(guid->toString(GUIDStringFormat::UPPERCASE_DASHED), "A0000000-0000-0000-0123-456789ABCDEF");
    EXPECT_EQ(guid->toString(), "A0000000-0000-0000-0123-456789ABCDEF");
    EXPECT_EQ(guid->toString(GUIDStringFormat::COMPACT), kSampleCompact);

    // Repeating a format answers from the cache; a compact request leaves that cache alone.
    const std::string* lower = &guid->toString(GUIDStringFormat::LOWERCASE);
    EXPECT_EQ(&guid->toString(GUIDStringFormat::LOWERCASE), lower);
    const std::string* compact = &guid->toString(GUIDStringFormat::COMPACT);
    EXPECT_EQ(&guid->toString(GUIDStringFormat::LOWERCASE), lower);
    EXPECT_EQ(guid->toString(GUIDStringFormat::UPPERCASE), "A0000000000000000123456789ABCDEF");
    EXPECT_EQ(&guid->toCompactStr(), compact);
}

TEST(GUIDOrdering, HighHalfFirstThenLowUnsigned) {
    GUIDClass* a = GUIDClass::factory(std::string("A0000000-0000-0000-0123-456789ABCDEF"));
    GUIDClass* b = GUIDClass::factory(std::string("B0000000-0000-0000-0123-456789ABCDEF"));
    GUIDClass* aHigherLow = GUIDClass::factory(TRawGUID{kSampleRaw.high, ~0ULL});
    GUIDClass* smallHigh = GUIDClass::factory(TRawGUID{0x7FFFFFFFFFFFFFFFULL, ~0ULL});
    EXPECT_TRUE(*a < *b);
    EXPECT_TRUE(*b > *a && *a != *b && !(*b <= *a));
    EXPECT_TRUE(*a < *aHigherLow && *a <= *a && *a >= *a && *a == *a);
    EXPECT_TRUE(*smallHigh < *a);  // a set top bit is large, not negative
}

TEST(GUIDRandom, DifferAndRoundTripThroughEveryFormat) {
    const GUIDStringFormat formats[] = {GUIDStringFormat::LOWERCASE, GUIDStringFormat::UPPERCASE,
                                        GUIDStringFormat::LOWERCASE_DASHED,
                                        GUIDStringFormat::UPPERCASE_DASHED, GUIDStringFormat::COMPACT};
    GUIDClass* previous = nullptr;
    for (int round = 0; round < 50; ++round) {
        GUIDClass* guid = GUIDClass::randomFactory();
        ASSERT_NE(guid, nullptr);
        EXPECT_NE(guid, previous);
        EXPECT_FALSE(previous && *guid == *previous);
        for (GUIDStringFormat format : formats) {
            std::string text = guid->toString(format);
            EXPECT_TRUE(GUIDClass::isGUIDStr(text)) << text;
            EXPECT_EQ(GUIDClass::factory(text), guid) << text;
        }
        previous = guid;
    }
}

TEST(GUIDIsGUIDStr, AcceptsThirtyTwoHexDigitsOrTwentyTwoCompactCharacters) {
    for (const char* text : {"26e2b36c-f8be-0d20-60b1-3e4fdc5d347c", "26E2B36C-F8BE-0D20-60B1-3E4FDC5D347C",
                             "{26E2B36CF8BE0d2060B13E4FDC5D347C}", "v38qJeWRjE+/AAAAAAAAgC",
                             "(26e2b36c_f8be)[0d2060b1]--3e4fdc5d347c", "0123456789abcdef012345"}) {
        EXPECT_TRUE(GUIDClass::isGUIDStr(text)) << text;
    }
    for (const char* text :
         {"v+/8qJeWRjEAAAAAAAAAAgC", "$38qJeWRjEAAAAAAAAAAgC", "{26E2B36CF8BE0d206B13E4FDC5D347C}", "",
          "26e2b36c-f8be-0d20-60b1-3e4fdc5d347c0", "26e2b36c f8be 0d20 60b1 3e4fdc5d347c",
          "v38qJeWRjEAAAAAAAAAAg-", "v38qJeWRjEAAAAAAAAAAg"}) {
        EXPECT_FALSE(GUIDClass::isGUIDStr(text)) << text;
    }
    EXPECT_FALSE(GUIDClass::isGUIDStr(std::string("26e2b36cf8be0d2060b13e4fdc5d347c\0", 33)));
}

TEST(GUIDParsing, LengthDecidesThePathOtherCharactersAreSkippedAndNothingIsNull) {
    // 22 hexadecimal digits are a compact string, not a short hexadecimal one.
    const std::string twentyTwoHex = "0123456789abcdef012345";
    EXPECT_EQ(GUIDClass::factory(twentyTwoHex), GUIDClass::factory22(twentyTwoHex));
    EXPECT_NE(GUIDClass::factory(twentyTwoHex), GUIDClass::factory("0000000000" + twentyTwoHex));

    GUIDClass* sample = GUIDClass::factory(kSampleRaw);
    EXPECT_EQ(GUIDClass::factory(std::string("FFFFA0000000000000000123456789ABCDEF")), sample);
    EXPECT_EQ(GUIDClass::factory(std::string("xA000 0000 zz 0000000001 23456789ABCDEF!")), sample);
    EXPECT_EQ(GUIDClass::factory(std::string("12"))->get().low, 0x12U);

    GUIDClass* null = GUIDClass::nullGUID();
    ASSERT_NE(null, nullptr);
    EXPECT_EQ(GUIDClass::factory(std::string()), null);
    EXPECT_EQ(GUIDClass::factory(std::string("{xyz-uvw}")), null);
    EXPECT_EQ(GUIDClass::factory(TRawGUID{0, 0}), null);
    EXPECT_EQ(null->toString(), "00000000-0000-0000-0000-000000000000");
}

TEST_F(GUIDLogTest, Factory22RejectsBadTextWithTheCheckLine) {
    EXPECT_EQ(GUIDClass::factory22(""), nullptr);
    ASSERT_EQ(capturedLines().size(), 1U);
    EXPECT_THAT(capturedLines()[0], EndsWith("SANITY_CHECK failed: 'str.length() == 22' evaluates to false"));
    EXPECT_NE(capturedLines()[0].find(" ERROR: in "), std::string::npos);

    clearCapturedLines();
    EXPECT_EQ(GUIDClass::factory(std::string("$38qJeWRjEAAAAAAAAAAgC")), nullptr);
    ASSERT_EQ(capturedLines().size(), 2U);
    EXPECT_THAT(capturedLines()[0], EndsWith("SANITY_CHECK failed: 'nib6 >= 0' evaluates to false"));
    EXPECT_THAT(capturedLines()[1], EndsWith("SANITY_CHECK failed: 'nib6Count == 22' evaluates to false"));

    clearCapturedLines();
    EXPECT_NE(GUIDClass::factory22(kSampleCompact), nullptr);
    EXPECT_NE(GUIDClass::factory(std::string("")), nullptr);
    EXPECT_TRUE(capturedLines().empty());
}
