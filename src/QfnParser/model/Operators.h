#pragma once

namespace Qfn {

// Binary operators; the numeric order is the order of binding.
enum class BinOp {
    INDEX = 2,
    MUL = 3,
    DIV = 4,
    MOD = 5,
    ADD = 6,
    SUB = 7,
    SHL = 8,
    SHR = 9,
    LT = 10,
    LE = 11,
    GT = 12,
    GE = 13,
    EQ = 14,
    IDENTICAL = 15,
    NOT_IDENTICAL = 16,
    NE = 17,
    BIT_AND = 18,
    BIT_XOR = 19,
    BIT_OR = 20,
    AND = 21,
    OR = 22,
    TERNARY = 23,
    ASSIGN = 24,
    COMMA = 25,
    SEMICOLON = 26,
    WHILE = 28,
    DO_WHILE = 29,
};

enum class UnOp {
    PRE_DEC = 2,
    PRE_INC = 3,
    POST_DEC = 4,
    POST_INC = 5,
    NEG = 6,
    PLUS = 7,
    NOT = 8,
    BIT_NOT = 9,
    TYPEOF = 10,
    RETURN = 11,
};

enum class TernOp { IF = 1, CONDITIONAL = 2 };

// The script language's tokens; their members come with the parser.
enum class Token : int;

}  // namespace Qfn
