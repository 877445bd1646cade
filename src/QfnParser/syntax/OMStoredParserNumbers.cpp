// Numbers of the script language: the resumable reader, its two plain twins, and pow.
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/syntax/OMStoredParserLexer.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

namespace {

// Radix -3: integers and every float form; -2: integers, 0x for hexadecimal; 2..36: that radix.
constexpr int kFloatForms = -3;
constexpr int kDetectRadix = -2;
// Larger decimal exponents give infinity or zero anyway; the clamp keeps the arithmetic in range.
constexpr int kExponentClamp = 100000;

// Takes a number's characters one at a time and knows when it has ended. Shared by the resumable
// reader and the plain ones, so that all three accept exactly the same text.
class NumberScanner {
public:
    explicit NumberScanner(int radix = kFloatForms)
        : fRadix(radix), fDigitRadix(radix >= 2 && radix <= 36 ? radix : 10)
    {
    }

    // True when c continues the number; the caller then consumes it. False ends the number before c.
    bool take(int c)
    {
        if (c < 0) return false;
        switch (fPart) {
            case Part::Space:
                if (c == ' ' || c == '\t' || c == '\r' || c == '\n') return true;
                if (c == '+' || c == '-') {
                    fIsNegative = c == '-';
                    fPart = Part::Sign;
                    return true;
                }
                return takeMantissaStart(c);
            case Part::Sign:
                return takeMantissaStart(c);
            case Part::LeadingZero:
                if ((c == 'x' || c == 'X') && allowsHex()) {
                    fDigitRadix = 16;
                    fDigitCount = 0;
                    fPart = Part::HexDigits;
                    return true;
                }
                fPart = Part::Digits;
                return take(c);
            case Part::Digits:
            case Part::HexDigits:
                if (takeDigit(c, false)) return true;
                if (fPart == Part::HexDigits || fRadix != kFloatForms) return false;
                if (c == '.') {
                    fHasFraction = true;
                    fPart = Part::Fraction;
                    return true;
                }
                return takeExponentMark(c);
            case Part::Fraction:
                if (takeDigit(c, true)) return true;
                return takeExponentMark(c);
            case Part::ExponentMark:
                if (c == '+' || c == '-') {
                    fIsExponentNegative = c == '-';
                    fPart = Part::ExponentSign;
                    return true;
                }
                [[fallthrough]];
            case Part::ExponentSign:
            case Part::ExponentDigits:
                if (c < '0' || c > '9') return false;
                if (fExponent < kExponentClamp) fExponent = fExponent * 10 + (c - '0');
                fPart = Part::ExponentDigits;
                return true;
        }
        return false;
    }

    // Gives the node the value of what was taken: Int without fraction and exponent, else Float.
    bool store(OMStored& node) const
    {
        if (fDigitCount == 0 || fPart == Part::ExponentMark || fPart == Part::ExponentSign) return false;
        if (!fHasFraction && !fHasExponent && !fIntOverflow) {
            auto value = static_cast<int64_t>(fIntValue);
            return node.set(fIsNegative ? -value : value);
        }
        double value = fFloatValue;
        if (fDigitRadix == 10) {
            // The decimal digits and the exponent read by the C library, which rounds correctly: a
            // Float printed with enough digits reads back as the same Float.
            int exponent = (fIsExponentNegative ? -fExponent : fExponent) - fFractionDigits;
            std::string text = fDecimalDigits + "e" + std::to_string(exponent);
            value = std::strtod(text.c_str(), nullptr);
        }
        return node.set(fIsNegative ? -value : value);
    }

private:
    enum class Part {
        Space,
        Sign,
        LeadingZero,
        Digits,
        HexDigits,
        Fraction,
        ExponentMark,
        ExponentSign,
        ExponentDigits
    };

    bool allowsHex() const { return fRadix == 16 || fRadix == kDetectRadix || fRadix == kFloatForms; }

    bool takeMantissaStart(int c)
    {
        if (c == '.' && fRadix == kFloatForms) {
            fHasFraction = true;
            fPart = Part::Fraction;
            return true;
        }
        if (c == '0' && allowsHex()) {
            takeDigit(c, false);
            fPart = Part::LeadingZero;
            return true;
        }
        if (!takeDigit(c, false)) return false;
        fPart = Part::Digits;
        return true;
    }

    bool takeExponentMark(int c)
    {
        if ((c != 'e' && c != 'E') || fDigitCount == 0) return false;
        fHasExponent = true;
        fPart = Part::ExponentMark;
        return true;
    }

    bool takeDigit(int c, bool isFraction)
    {
        int digit = 99;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'z')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'Z')
            digit = c - 'A' + 10;
        if (digit >= fDigitRadix) return false;
        ++fDigitCount;
        if (isFraction) ++fFractionDigits;
        fFloatValue = fFloatValue * fDigitRadix + digit;
        if (fDigitRadix == 10) fDecimalDigits.push_back(static_cast<char>('0' + digit));
        const auto limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        if (fIntValue > (limit - digit) / fDigitRadix)
            fIntOverflow = true;
        else
            fIntValue = fIntValue * fDigitRadix + digit;
        return true;
    }

    int fRadix;
    int fDigitRadix;
    Part fPart = Part::Space;
    bool fIsNegative = false;
    bool fHasFraction = false;
    bool fHasExponent = false;
    bool fIsExponentNegative = false;
    bool fIntOverflow = false;
    int fDigitCount = 0;
    int fFractionDigits = 0;
    int fExponent = 0;
    uint64_t fIntValue = 0;
    double fFloatValue = 0.0;
    std::string fDecimalDigits;
};

}  // namespace

double OMStored::pow(double base, int exponent)
{
    bool isNegative = exponent < 0;
    // Unsigned, so that the most negative int has a magnitude too.
    auto remaining = isNegative ? 0u - static_cast<unsigned>(exponent) : static_cast<unsigned>(exponent);
    double retVal = 1.0;
    for (double square = base; remaining != 0; remaining >>= 1, square *= square) {
        if (remaining & 1u) retVal *= square;
    }
    return isNegative ? 1.0 / retVal : retVal;
}

// number := space* sign? ( "0x" hexdigit+ | digit+ ( "." digit* )? | "." digit+ ) ( ("e"|"E") sign? digit+ )?
void OMStored::parseNum_yielding(const std::shared_ptr<Task>& task, bool& success,
                                 const std::shared_ptr<InputStream>& stream, int radix)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<InputStream> stream;
        NumberScanner scanner;
        int c = InputStream::kNothingYet;
    };
    enum : unsigned { READ = 1 };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        if (frame.isFirstEntry()) success = false;
        LocalVariableState& s = *frame;
        do {
            switch (s.fState) {
                case 0:
                    s.stream = stream;
                    s.scanner = NumberScanner(radix);
                    s.fState = s.stream ? READ : kFinished;
                    if (!s.stream) LOG_ERROR("parseNum failed");
                    break;
                    YIELDING_CALL(READ, ParserLexer::readChar_yielding(task, s.c, s.stream));
                case resumeAfter(READ):
                    if (s.c == InputStream::kNothingYet) {
                        s.fState = READ;
                        break;
                    }
                    if (s.c != ParserLexer::kNoChar && s.scanner.take(s.c)) {
                        s.stream->advance();
                        s.fState = READ;
                        break;
                    }
                    success = s.c != ParserLexer::kNoChar && s.scanner.store(*this);
                    if (!success) LOG_ERROR("parseNum failed");
                    s.fState = kFinished;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// Reads what is there now; "nothing yet" ends the number like the end of input does.
bool OMStored::parseNum(InputStream& stream, int radix)
{
    bool retVal = false;
    try {
        do {
            NumberScanner scanner(radix);
            while (scanner.take(stream.getChar()))
                stream.advance();
            retVal = scanner.store(*this);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The longest leading number of the text, as parseInt and parseFloat read it.
bool OMStored::parseNum(const std::string& text, int radix)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<InputStreamString> stream;
            ASSIGN(stream, InputStreamString::factory(text));
            retVal = parseNum(*stream, radix);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
