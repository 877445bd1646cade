#pragma once

namespace Qfn {

// What ends the expression being parsed.
enum class ParseType {
    Statement = 0,      // a statement or parenthesised subexpression: ')', '}', end
    ObjectValue = 1,    // a property value: ',' or '}'
    ArrayElement = 2,   // an array element: ',' or ']'
    Argument = 3,       // a call argument: ',' or ')'
    Parameter = 4,      // a parameter of a function definition: ',' or ')'
    ListElement = 5,    // an element of an expression list: ';'
    ForClause = 6,      // a clause of `for`: ';' or ')'
    ForBody = 7,        // the body of `for`: ';'
    Condition = 8,      // a condition, an if/while body, an index: ')', ']', end of statement
    BlockBody = 9,      // the body of `function` and `do`: '}'
    TernaryFirst = 10,  // the value between '?' and ':'
    FileTop = 11,       // the program text as a whole
    ReturnValue = 12,   // the value of `return`: ';'
};

}  // namespace Qfn
